#include "Brannow/ZQVuoPortValue.h"

#include <cmath>
#include <limits>

namespace {

using Integer = std::int64_t;

Integer truncated(double number) {
  constexpr double kEnd = 9223372036854775808.0;  // 2 to the 63rd, the first that does not fit
  if (std::isnan(number)) return 0;
  if (number >= kEnd) return std::numeric_limits<Integer>::max();
  if (number < -kEnd) return std::numeric_limits<Integer>::min();
  return static_cast<Integer>(number);
}

}  // namespace

std::optional<double> ZQVuoPortValue::doubleValue() const {
  if (const auto* number = std::get_if<double>(&_contents)) return *number;
  if (const auto* number = std::get_if<Integer>(&_contents)) return static_cast<double>(*number);
  if (const auto* truth = std::get_if<bool>(&_contents)) return *truth ? 1 : 0;
  return std::nullopt;
}

std::optional<Integer> ZQVuoPortValue::longLongValue() const {
  if (const auto* number = std::get_if<Integer>(&_contents)) return *number;
  const auto number = doubleValue();
  return number ? std::optional(truncated(*number)) : std::nullopt;
}

std::optional<bool> ZQVuoPortValue::boolValue() const {
  const auto number = doubleValue();
  return number ? std::optional(*number != 0) : std::nullopt;
}

std::optional<ZQVuoColor> ZQVuoPortValue::colorValue() const {
  const auto* color = std::get_if<ZQVuoColor>(&_contents);
  return color ? std::optional(*color) : std::nullopt;
}

std::optional<ZQVuoPoint> ZQVuoPortValue::pointValue() const {
  const auto* point = std::get_if<ZQVuoPoint>(&_contents);
  return point ? std::optional(*point) : std::nullopt;
}
