#pragma once

#include <charconv>
#include <string>

/// A finite number in the fewest digits that still tell it from every other number.
inline std::string shortestDigits(double number) {
  char digits[32];
  return std::string(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
}
