#include "runtime/TextPorts.h"

namespace vuo {

std::vector<Port> textInputs() {
  return {{"width", Type::Integer, "", {}},
          {"height", Type::Integer, "", {}},
          {"image", Type::Image, "", {}},
          {"text", Type::Text, R"("")", {}},
          {"line", Type::Integer, "0", {}},
          {"font", Type::Text, R"("Sans")", {}},
          {"size", Type::Real, "0.1", {}},
          {"color", Type::Color, R"({"r":1,"g":1,"b":1,"a":1})", {}},
          {"alignment", Type::Text, R"("start")", {}},
          {"verticalAlignment", Type::Text, R"("top")", {}},
          {"position", Type::Point2d, R"({"x":0,"y":0})", {}},
          {"box", Type::Point2d, R"({"x":1,"y":1})", {}}};
}

}  // namespace vuo
