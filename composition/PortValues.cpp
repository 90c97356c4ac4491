#include "composition/PortValues.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <utility>

#include "composition/LeadingNumber.h"
#include "platform/system/Regex.h"

namespace {

using Value = ZQVuoCompositionPort::Value;

Value shared(ZQVuoPortValue value) {
  return std::make_shared<const ZQVuoPortValue>(std::move(value));
}

std::string keyFor(const std::string& portName, const char* suffix = "") {
  return "_" + portName + suffix;
}

std::string whatReads(const std::string& key, std::string_view text) {
  return inQuotes(key) + " is " + inQuotes(text);
}

double numberFrom(std::string_view text, const LineAttributes& attributes, const std::string& key) {
  const LeadingNumber number(text);
  if (!number.isWholeText) {
    attributes.problems().add(ZQVuoProblemKind::NumberUnread,
                              whatReads(key, text) + ", which is no number");
  }
  return number.value;
}

std::optional<double> numberUnder(const LineAttributes& attributes, const std::string& key) {
  const auto text = attributes.value(key);
  return text ? std::optional(numberFrom(*text, attributes, key)) : std::nullopt;
}

void fillNumbers(ZQVuoCompositionPort& port, const LineAttributes& attributes) {
  const std::string& name = port.portName();
  port.setMinVal(numberUnder(attributes, keyFor(name, "_suggestedMin")));
  port.setMaxVal(numberUnder(attributes, keyFor(name, "_suggestedMax")));
  const auto number = numberUnder(attributes, keyFor(name));
  port.setDefaultVal(number ? shared(*number) : nullptr);
  port.setStepVal(numberUnder(attributes, keyFor(name, "_suggestedStep")));
}

Value truthFrom(const std::string& text) {
  if (text == "true") return shared(true);
  if (text == "false") return shared(false);
  return nullptr;
}

/// The components of a colour or point; none when the pattern is not in the text.
std::optional<std::vector<double>> componentsOf(const std::string& text,
                                                const platform::Regex& pattern,
                                                const LineAttributes& attributes,
                                                const std::string& key) {
  const auto groups = pattern.firstMatch(text);
  if (!groups) return std::nullopt;
  std::vector<double> components;
  for (const auto group : *groups) components.push_back(numberFrom(group, attributes, key));
  return components;
}

Value colorFrom(const std::string& text, const LineAttributes& attributes, const std::string& key) {
  static const platform::Regex pattern(
      "\\{r:([0-9\\.]+),g:([0-9\\.]+),b:([0-9\\.]+),a:([0-9\\.]+)\\}");
  const auto parts = componentsOf(text, pattern, attributes, key);
  if (!parts) return nullptr;
  return shared(ZQVuoColor{(*parts)[0], (*parts)[1], (*parts)[2], (*parts)[3]});
}

Value pointFrom(const std::string& text, const LineAttributes& attributes, const std::string& key) {
  static const platform::Regex pattern("\\{x:([0-9\\.]+),y:([0-9\\.]+)\\}");
  const auto parts = componentsOf(text, pattern, attributes, key);
  return parts ? shared(ZQVuoPoint{(*parts)[0], (*parts)[1]}) : nullptr;
}

constexpr std::pair<const char*, ZQVuoPortType> kTypes[] = {
    {"VuoImage", ZQVuoPortType_Image},     {"VuoReal", ZQVuoPortType_Real},
    {"VuoInteger", ZQVuoPortType_Integer}, {"VuoColor", ZQVuoPortType_Color},
    {"VuoBoolean", ZQVuoPortType_Boolean}, {"VuoPoint2d", ZQVuoPortType_Point2D},
    {"VuoText", ZQVuoPortType_Text}};

}  // namespace

ZQVuoPortType portTypeNamed(std::string_view typeName) {
  const auto* const found = std::ranges::find(
      kTypes, typeName, [](const auto& named) { return std::string_view(named.first); });
  return found != std::end(kTypes) ? found->second : ZQVuoPortType_Undefined;
}

const char* nameOfPortType(ZQVuoPortType type) {
  const auto* const found =
      std::ranges::find(kTypes, type, [](const auto& named) { return named.second; });
  return found != std::end(kTypes) ? found->first : nullptr;
}

const char* fillPortValues(ZQVuoCompositionPort& port, const LineAttributes& attributes) {
  const ZQVuoPortType type = port.portType();
  if (type == ZQVuoPortType_Image) return nullptr;
  if (type == ZQVuoPortType_Real || type == ZQVuoPortType_Integer) {
    fillNumbers(port, attributes);
    return nullptr;
  }
  const std::string key = keyFor(port.portName());
  auto text = attributes.value(key);
  if (!text) return nullptr;
  const auto tell = [&](ZQVuoProblemKind kind, const char* what) {
    attributes.problems().add(kind, whatReads(key, *text) + what);
  };
  Value value;
  const char* complaint = nullptr;
  switch (type) {
    case ZQVuoPortType_Boolean:
      value = truthFrom(*text);
      if (!value) tell(ZQVuoProblemKind::BooleanUnread, ", which is neither true nor false");
      break;
    case ZQVuoPortType_Color:
      value = colorFrom(*text, attributes, key);
      if (value) break;
      complaint = "\t\terr parsing color string in %s";
      tell(ZQVuoProblemKind::ColorUnread, ", which is no colour such as {r:1,g:0.5,b:0,a:1}");
      break;
    case ZQVuoPortType_Point2D:
      value = pointFrom(*text, attributes, key);
      if (value) break;
      complaint = "\t\terr parsing 2D string in %s";
      tell(ZQVuoProblemKind::PointUnread, ", which is no point such as {x:0.25,y:0.75}");
      break;
    default:
      if (*text != "null") value = shared(std::move(*text));
      break;
  }
  port.setDefaultVal(std::move(value));
  return complaint;
}
