#include "composition/PortValues.h"

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

std::optional<double> numberUnder(const LineAttributes& attributes, const std::string& key) {
  const auto text = attributes.value(key);
  return text ? std::optional(leadingNumber(*text)) : std::nullopt;
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

Value colorFrom(const std::string& text) {
  static const platform::Regex pattern(
      "\\{r:([0-9\\.]+),g:([0-9\\.]+),b:([0-9\\.]+),a:([0-9\\.]+)\\}");
  const auto groups = pattern.firstMatch(text);
  if (!groups) return nullptr;
  return shared(ZQVuoColor{leadingNumber((*groups)[0]), leadingNumber((*groups)[1]),
                           leadingNumber((*groups)[2]), leadingNumber((*groups)[3])});
}

Value pointFrom(const std::string& text) {
  static const platform::Regex pattern("\\{x:([0-9\\.]+),y:([0-9\\.]+)\\}");
  const auto groups = pattern.firstMatch(text);
  if (!groups) return nullptr;
  return shared(ZQVuoPoint{leadingNumber((*groups)[0]), leadingNumber((*groups)[1])});
}

}  // namespace

ZQVuoPortType portTypeNamed(std::string_view typeName) {
  constexpr std::pair<std::string_view, ZQVuoPortType> kTypes[] = {
      {"VuoImage", ZQVuoPortType_Image},     {"VuoReal", ZQVuoPortType_Real},
      {"VuoInteger", ZQVuoPortType_Integer}, {"VuoColor", ZQVuoPortType_Color},
      {"VuoBoolean", ZQVuoPortType_Boolean}, {"VuoPoint2d", ZQVuoPortType_Point2D},
      {"VuoText", ZQVuoPortType_Text}};
  for (const auto& [name, type] : kTypes) {
    if (name == typeName) return type;
  }
  return ZQVuoPortType_Undefined;
}

const char* fillPortValues(ZQVuoCompositionPort& port, const LineAttributes& attributes) {
  const ZQVuoPortType type = port.portType();
  if (type == ZQVuoPortType_Image) return nullptr;
  if (type == ZQVuoPortType_Real || type == ZQVuoPortType_Integer) {
    fillNumbers(port, attributes);
    return nullptr;
  }
  auto text = attributes.value(keyFor(port.portName()));
  if (!text) return nullptr;
  Value value;
  const char* complaint = nullptr;
  switch (type) {
    case ZQVuoPortType_Boolean:
      value = truthFrom(*text);
      break;
    case ZQVuoPortType_Color:
      value = colorFrom(*text);
      if (!value) complaint = "\t\terr parsing color string in %s";
      break;
    case ZQVuoPortType_Point2D:
      value = pointFrom(*text);
      if (!value) complaint = "\t\terr parsing 2D string in %s";
      break;
    default:
      if (*text != "null") value = shared(std::move(*text));
      break;
  }
  port.setDefaultVal(std::move(value));
  return complaint;
}
