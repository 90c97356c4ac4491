#include "host/FramePattern.h"

#include <optional>

namespace {

std::string padded(int index, std::size_t digits) {
  std::string number = std::to_string(index);
  if (number.size() < digits) number.insert(0, digits - number.size(), '0');
  return number;
}

/// "%d" or "%0Nd" in a pattern.
struct NumberPlace {
  std::size_t begin;
  std::size_t length;
  std::size_t digits;
};

std::optional<NumberPlace> numberPlaceIn(const std::string& pattern) {
  for (auto at = pattern.find('%'); at != std::string::npos; at = pattern.find('%', at + 1)) {
    const std::string rest = pattern.substr(at + 1, 3);
    if (rest.starts_with('d')) return NumberPlace{at, 2, 1};
    const bool isPadded = rest.size() == 3 && rest[0] == '0' && rest[1] >= '0' && rest[1] <= '9';
    if (isPadded && rest[2] == 'd') return NumberPlace{at, 4, std::size_t(rest[1] - '0')};
  }
  return std::nullopt;
}

}  // namespace

bool hasFrameNumber(const std::string& pattern) {
  return numberPlaceIn(pattern).has_value();
}

std::string frameFile(const std::string& pattern, int index, int count) {
  if (const auto place = numberPlaceIn(pattern)) {
    std::string file = pattern;
    return file.replace(place->begin, place->length, padded(index, place->digits));
  }
  if (count == 1) return pattern;
  const auto slash = pattern.find_last_of('/');
  const auto dot = pattern.find_last_of('.');
  const bool hasExtension = dot != std::string::npos && (slash == std::string::npos || dot > slash);
  const auto end = hasExtension ? dot : pattern.size();
  return pattern.substr(0, end) + "-" + padded(index, 4) + pattern.substr(end);
}
