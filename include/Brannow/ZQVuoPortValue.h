// The value of a published port that carries no image, as the host sees it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <variant>

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
/// as `std::shared_ptr<const ZQVuoPortValue>`, so any number of threads may read it.
class ZQVuoPortValue {
 public:
  using Contents = std::variant<double, std::int64_t, bool, ZQVuoColor, ZQVuoPoint, std::string>;

  ZQVuoPortValue(double number) : _contents(number) {}
  ZQVuoPortValue(std::int64_t number) : _contents(number) {}
  ZQVuoPortValue(int number) : _contents(std::int64_t{number}) {}
  ZQVuoPortValue(bool truth) : _contents(truth) {}
  ZQVuoPortValue(ZQVuoColor color) : _contents(color) {}
  ZQVuoPortValue(ZQVuoPoint point) : _contents(point) {}
  ZQVuoPortValue(std::string text) : _contents(std::move(text)) {}
  ZQVuoPortValue(const char* text) : _contents(std::string(text)) {}

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
  Contents _contents;
};
