// The value of a published port that carries no image, as the host sees it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>

#include "Brannow/BrannowExport.h"

/// A colour in the device RGB colour space. Components are not clamped.
struct ZQVuoColor {
  double red = 0;
  double green = 0;
  double blue = 0;
  double alpha = 0;
  bool operator==(const ZQVuoColor&) const = default;
};

struct ZQVuoPoint {
  double x = 0;
  double y = 0;
  bool operator==(const ZQVuoPoint&) const = default;
};

/// One immutable value of one of five kinds: number, boolean, colour, point or UTF-8 text. Shared
/// as `std::shared_ptr<const ZQVuoPortValue>`, so any number of threads may read it. Making one
/// throws what making its text does, std::bad_alloc; nothing else throws.
class BRANNOW_API ZQVuoPortValue {
 public:
  using Contents = std::variant<double, std::int64_t, bool, ZQVuoColor, ZQVuoPoint, std::string>;

  /// Any number or truth value. Of the numbers without a fraction those that 64 bits with a sign
  /// can't hold are kept as floating-point ones.
  template <class Number>
  requires std::is_arithmetic_v<Number> ZQVuoPortValue(Number number)
      : _contents(contentsOf(number)) {}
  ZQVuoPortValue(ZQVuoColor color) : _contents(color) {}
  ZQVuoPortValue(ZQVuoPoint point) : _contents(point) {}
  ZQVuoPortValue(std::string text) : _contents(std::move(text)) {}
  ZQVuoPortValue(std::string_view text) : _contents(std::string(text)) {}
  ZQVuoPortValue(const char* text) : _contents(std::string(text)) {}
  /// Any other pointer would be a truth value by accident.
  template <class Other>
  requires(!std::is_same_v<std::remove_const_t<Other>, char>) ZQVuoPortValue(Other*)
  = delete;
  ZQVuoPortValue(std::nullptr_t) = delete;

  const Contents& contents() const { return _contents; }

  /// A number or a truth value (1 or 0) as floating point; none for the other kinds.
  std::optional<double> doubleValue() const;
  /// A number or a truth value as an integer, truncated toward zero. Numbers outside the range of
  /// 64 bits give the nearest end of it, NaN gives 0. None for the other kinds.
  std::optional<std::int64_t> longLongValue() const;
  /// A truth value, or whether a number differs from 0; none for the other kinds.
  std::optional<bool> boolValue() const;
  std::optional<ZQVuoColor> colorValue() const;
  std::optional<ZQVuoPoint> pointValue() const;
  /// The text, or null for the other kinds; lent by the value.
  const std::string* stringValue() const { return std::get_if<std::string>(&_contents); }

  bool operator==(const ZQVuoPortValue&) const = default;

 private:
  template <class Number>
  static Contents contentsOf(Number number) {
    if constexpr (std::is_same_v<Number, bool>)
      return number;
    else if constexpr (std::is_integral_v<Number>)
      return std::in_range<std::int64_t>(+number) ? Contents(static_cast<std::int64_t>(number))
                                                  : Contents(static_cast<double>(number));
    else
      return static_cast<double>(number);
  }

  Contents _contents;
};
