#include "composition/LeadingNumber.h"

#include <charconv>
#include <limits>

#include "composition/WhiteSpace.h"

namespace {

constexpr std::string_view kDigits = "0123456789";

std::size_t countDigits(std::string_view text) {
  const auto end = text.find_first_not_of(kDigits);
  return end == std::string_view::npos ? text.size() : end;
}

/// The parts of an unsigned number at the beginning of a text.
struct NumberParts {
  std::size_t wholeDigits = 0;
  std::size_t fractionDigits = 0;
  std::size_t length = 0;

  explicit NumberParts(std::string_view text) {
    wholeDigits = length = countDigits(text);
    if (length == 0) return;
    if (length < text.size() && text[length] == '.') {
      fractionDigits = countDigits(text.substr(length + 1));
      if (fractionDigits > 0) length += 1 + fractionDigits;
    }
    length += exponentLength(text.substr(length));
  }

  static std::size_t exponentLength(std::string_view text) {
    if (text.empty() || (text[0] != 'e' && text[0] != 'E')) return 0;
    const std::size_t sign = text.size() > 1 && (text[1] == '+' || text[1] == '-') ? 1 : 0;
    const std::size_t digits = countDigits(text.substr(1 + sign));
    return digits == 0 ? 0 : 1 + sign + digits;
  }
};

/// Whether a number beyond the range of a double is too large, and not too small: tells by the
/// place of its first digit that counts.
bool isTooLarge(std::string_view number, const NumberParts& parts) {
  const auto first = number.find_first_not_of("0.");
  const auto place = static_cast<long long>(parts.wholeDigits) - static_cast<long long>(first) -
                     (first < parts.wholeDigits ? 1 : 0);
  const auto exponentAt = number.find_first_of("eE");
  if (exponentAt == std::string_view::npos) return place > 0;
  std::string_view exponent = number.substr(exponentAt + 1);
  const bool negative = exponent.starts_with('-');
  if (negative || exponent.starts_with('+')) exponent.remove_prefix(1);
  long long value = 0;
  const auto result = std::from_chars(exponent.data(), exponent.data() + exponent.size(), value);
  if (result.ec != std::errc()) return !negative;
  return place + (negative ? -value : value) > 0;
}

double unsignedNumber(std::string_view text, const NumberParts& parts) {
  const std::string_view number = text.substr(0, parts.length);
  double value = 0;
  const auto result = std::from_chars(number.data(), number.data() + number.size(), value);
  if (result.ec != std::errc::result_out_of_range) return value;
  return isTooLarge(number, parts) ? std::numeric_limits<double>::infinity() : 0;
}

}  // namespace

LeadingNumber::LeadingNumber(std::string_view text) {
  const auto start = text.find_first_not_of(kWhiteSpace);
  if (start == std::string_view::npos) return;
  text.remove_prefix(start);
  const bool negative = text.starts_with('-');
  if (negative || text.starts_with('+')) text.remove_prefix(1);
  const NumberParts parts(text);
  if (parts.length == 0) return;
  const double number = unsignedNumber(text, parts);
  value = negative ? -number : number;
  isWholeText = parts.length == text.size();
}
