#include "plugins/frei0r/Parameter.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <optional>

namespace frei0r {
namespace {

std::optional<int> typeFor(ZQVuoPortType type) {
  switch (type) {
    case ZQVuoPortType_Real:
    case ZQVuoPortType_Integer:
      return F0R_PARAM_DOUBLE;
    case ZQVuoPortType_Boolean:
      return F0R_PARAM_BOOL;
    case ZQVuoPortType_Color:
      return F0R_PARAM_COLOR;
    case ZQVuoPortType_Point2D:
      return F0R_PARAM_POSITION;
    case ZQVuoPortType_Text:
      return F0R_PARAM_STRING;
    default:
      return std::nullopt;
  }
}

bool isTheHosts(const ZQVuoComposition& composition, const ZQVuoComposition::Port& port) {
  return port == composition.runnerWidthPort() || port == composition.runnerHeightPort() ||
         port == composition.runnerTimePort();
}

std::string digits(double number) {
  std::array<char, 32> text{};
  const auto end = std::to_chars(text.data(), text.data() + text.size(), number);
  return {text.data(), end.ptr};
}

std::optional<double> finite(std::optional<double> number) {
  return number && std::isfinite(*number) ? number : std::nullopt;
}

double numberOf(const ZQVuoCompositionPort& port) {
  const auto value = port.defaultVal();
  return finite(value ? value->doubleValue() : std::nullopt).value_or(0);
}

template <class Part>
Part partAt(const void* pointer) {
  Part part;
  std::memcpy(&part, pointer, sizeof(part));
  return part;
}

bool areSame(const Parameter::Value& a, const Parameter::Value& b) {
  if (a.index() != b.index()) return false;
  if (const auto* color = std::get_if<f0r_param_color_t>(&a)) {
    const auto& other = std::get<f0r_param_color_t>(b);
    return color->r == other.r && color->g == other.g && color->b == other.b;
  }
  if (const auto* place = std::get_if<f0r_param_position_t>(&a)) {
    const auto& other = std::get<f0r_param_position_t>(b);
    return place->x == other.x && place->y == other.y;
  }
  if (const auto* number = std::get_if<double>(&a)) return *number == std::get<double>(b);
  return std::get<std::string>(a) == std::get<std::string>(b);
}

template <class Contents>
std::shared_ptr<const ZQVuoPortValue> made(Contents contents) {
  return std::make_shared<const ZQVuoPortValue>(std::move(contents));
}

}  // namespace

std::vector<Parameter> Parameter::allOf(const ZQVuoComposition& composition) {
  std::vector<Parameter> all;
  for (const auto& port : composition.publishedInputPorts()) {
    const auto type = typeFor(port->portType());
    if (type && !isTheHosts(composition, port))
      all.push_back(Parameter(port, *type, port == composition.runnerTxtSrcFileInputPort()));
  }
  return all;
}

Parameter::Parameter(ZQVuoComposition::Port port, int type, bool isFile)
    : _port(std::move(port)), _type(type), _isFile(isFile) {
  if (_type == F0R_PARAM_DOUBLE) setRange();
  _default = defaultOfType();
  _explanation = words();
}

void Parameter::setRange() {
  const double first = numberOf(*_port);
  _min = std::min(first, finite(_port->minVal()).value_or(std::min(0.0, 2 * first)));
  _max = std::max(first, finite(_port->maxVal()).value_or(std::max(1.0, 2 * first)));
  if (!std::isfinite(_max - _min) || _min >= _max) _max = _min + 1;
}

Parameter::Value Parameter::defaultOfType() const {
  const auto value = _port->defaultVal();
  switch (_type) {
    case F0R_PARAM_DOUBLE:
      return fromNumber(numberOf(*_port));
    case F0R_PARAM_BOOL:
      return value && value->boolValue().value_or(false) ? 1.0 : 0.0;
    case F0R_PARAM_COLOR: {
      const auto color = (value ? value->colorValue() : std::nullopt).value_or(ZQVuoColor{});
      return f0r_param_color_t{static_cast<float>(color.red), static_cast<float>(color.green),
                               static_cast<float>(color.blue)};
    }
    case F0R_PARAM_POSITION: {
      const auto point = (value ? value->pointValue() : std::nullopt).value_or(ZQVuoPoint{});
      return f0r_param_position_t{point.x, 1 - point.y};
    }
    default: {
      const std::string* text = value ? value->stringValue() : nullptr;
      return text ? *text : std::string();
    }
  }
}

std::string Parameter::words() const {
  switch (_type) {
    case F0R_PARAM_DOUBLE: {
      const bool isWhole = _port->portType() == ZQVuoPortType_Integer;
      return "0 to 1 stands for " + std::string(isWhole ? "the whole numbers " : "") +
             digits(_min) + " to " + digits(_max) + "; at first " +
             digits(std::get<double>(_default)) + ", which is " + digits(numberOf(*_port));
    }
    case F0R_PARAM_BOOL:
      return std::get<double>(_default) == 1 ? "at first on" : "at first off";
    case F0R_PARAM_COLOR:
      return "red, green and blue; alpha stays as it is";
    case F0R_PARAM_POSITION:
      return "x from the left and y from the top, in parts of the picture";
    default:
      return _isFile ? "the path of a text file; at first the one that is inside" : "a text";
  }
}

Parameter::Value Parameter::read(const void* pointer) const {
  switch (_type) {
    case F0R_PARAM_COLOR:
      return partAt<f0r_param_color_t>(pointer);
    case F0R_PARAM_POSITION:
      return partAt<f0r_param_position_t>(pointer);
    case F0R_PARAM_STRING: {
      const auto* text = partAt<const char*>(pointer);
      return std::string(text ? text : "");
    }
    default:
      return partAt<double>(pointer);
  }
}

void Parameter::write(const Value& value, void* pointer) {
  if (const auto* text = std::get_if<std::string>(&value)) {
    const char* characters = text->c_str();
    std::memcpy(pointer, &characters, sizeof(characters));
  } else {
    std::visit([&](const auto& part) { std::memcpy(pointer, &part, sizeof(part)); }, value);
  }
}

std::shared_ptr<const ZQVuoPortValue> Parameter::inputValue(const Value& value) const {
  // The default itself, without what is lost on the way to frei0r's kinds and back.
  if (_port->defaultVal() && areSame(value, _default)) return _port->defaultVal();
  switch (_type) {
    case F0R_PARAM_DOUBLE: {
      const double number = _min + std::get<double>(value) * (_max - _min);
      if (!std::isfinite(number)) return nullptr;
      return made(_port->portType() == ZQVuoPortType_Integer ? std::round(number) : number);
    }
    case F0R_PARAM_BOOL:
      return made(std::get<double>(value) >= 0.5);
    case F0R_PARAM_COLOR: {
      const auto& color = std::get<f0r_param_color_t>(value);
      const auto first = _port->defaultVal() ? _port->defaultVal()->colorValue() : std::nullopt;
      return made(ZQVuoColor{color.r, color.g, color.b, first ? first->alpha : 1});
    }
    case F0R_PARAM_POSITION: {
      const auto& place = std::get<f0r_param_position_t>(value);
      return made(ZQVuoPoint{place.x, 1 - place.y});
    }
    default: {
      const std::string& text = std::get<std::string>(value);
      return made(_isFile && !text.empty() ? std::filesystem::absolute(text).string() : text);
    }
  }
}

}  // namespace frei0r
