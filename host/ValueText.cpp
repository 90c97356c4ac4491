#include "host/ValueText.h"

#include <charconv>
#include <initializer_list>
#include <optional>
#include <vector>

#include "host/NumberFromText.h"
#include "host/ShortestDigits.h"

namespace {

std::optional<std::vector<double>> numberList(std::string_view text) {
  std::vector<double> numbers;
  for (;;) {
    const auto comma = text.find(',');
    const auto number = numberFromText<double>(text.substr(0, comma));
    if (!number) return std::nullopt;
    numbers.push_back(*number);
    if (comma == std::string_view::npos) return numbers;
    text.remove_prefix(comma + 1);
  }
}

std::optional<std::vector<double>> hexComponents(std::string_view digits) {
  std::vector<double> components;
  for (; digits.size() >= 2; digits.remove_prefix(2)) {
    unsigned component = 0;
    const auto result = std::from_chars(digits.data(), digits.data() + 2, component, 16);
    if (result.ec != std::errc() || result.ptr != digits.data() + 2) return std::nullopt;
    components.push_back(component / 255.0);
  }
  if (!digits.empty()) return std::nullopt;
  return components;
}

std::optional<ZQVuoColor> colorFromText(std::string_view text) {
  auto components = text.starts_with('#') ? hexComponents(text.substr(1)) : numberList(text);
  if (!components) return std::nullopt;
  if (components->size() == 3) components->push_back(1);
  if (components->size() != 4) return std::nullopt;
  return ZQVuoColor{(*components)[0], (*components)[1], (*components)[2], (*components)[3]};
}

std::optional<ZQVuoPoint> pointFromText(std::string_view text) {
  const auto numbers = numberList(text);
  if (!numbers || numbers->size() != 2) return std::nullopt;
  return ZQVuoPoint{(*numbers)[0], (*numbers)[1]};
}

std::optional<bool> truthFromText(std::string_view text) {
  if (text == "true") return true;
  if (text == "false") return false;
  return std::nullopt;
}

template <class Contents>
std::shared_ptr<const ZQVuoPortValue> valueOr(const std::optional<Contents>& contents,
                                              const char* expected, std::string& problem) {
  if (contents) return std::make_shared<const ZQVuoPortValue>(*contents);
  problem = std::string("needs ") + expected;
  return nullptr;
}

std::string joined(std::initializer_list<double> numbers) {
  std::string text;
  for (const double number : numbers) text += (text.empty() ? "" : ",") + shortestDigits(number);
  return text;
}

struct TextOf {
  std::string operator()(double number) const { return shortestDigits(number); }
  std::string operator()(std::int64_t number) const { return std::to_string(number); }
  std::string operator()(bool truth) const { return truth ? "true" : "false"; }
  std::string operator()(const ZQVuoColor& c) const {
    return joined({c.red, c.green, c.blue, c.alpha});
  }
  std::string operator()(const ZQVuoPoint& point) const { return joined({point.x, point.y}); }
  std::string operator()(const std::string& text) const { return text; }
};

}  // namespace

std::string textFromValue(const ZQVuoPortValue& value) {
  return std::visit(TextOf(), value.contents());
}

std::shared_ptr<const ZQVuoPortValue> valueFromText(const std::string& text, ZQVuoPortType type,
                                                    std::string& problem) {
  switch (type) {
    case ZQVuoPortType_Real:
      return valueOr(numberFromText<double>(text), "a number", problem);
    case ZQVuoPortType_Integer:
      return valueOr(numberFromText<std::int64_t>(text), "a whole number", problem);
    case ZQVuoPortType_Boolean:
      return valueOr(truthFromText(text), "true or false", problem);
    case ZQVuoPortType_Color:
      return valueOr(colorFromText(text), "a colour such as #ff8000 or 1,0.5,0,1", problem);
    case ZQVuoPortType_Point2D:
      return valueOr(pointFromText(text), "a point such as 0.25,0.75", problem);
    case ZQVuoPortType_Text:
      return std::make_shared<const ZQVuoPortValue>(text);
    default:
      problem = "takes an image, not a value";
      return nullptr;
  }
}
