#include "host/FrameRate.h"

#include <numeric>

#include "host/NumberFromText.h"

namespace {

/// Far above any sensible part of a rate, and small enough to reckon with.
constexpr std::int64_t kMost = 1'000'000'000'000'000;
constexpr std::size_t kMostDecimals = 9;

std::optional<std::int64_t> wholeNumber(std::string_view text) {
  const auto number = numberFromText<std::int64_t>(text);
  return number && *number >= 0 && *number <= kMost ? number : std::nullopt;
}

/// "29.97" as 2997 hundredths.
std::optional<FrameRate> fromDecimal(std::string_view text) {
  const auto point = text.find('.');
  std::string digits(text.substr(0, point));
  FrameRate rate;
  if (point != std::string_view::npos) {
    const std::string_view fraction = text.substr(point + 1);
    if (fraction.empty() || fraction.size() > kMostDecimals) return std::nullopt;
    for (std::size_t i = 0; i < fraction.size(); ++i) rate.seconds *= 10;
    digits += fraction;
  }
  const auto number = wholeNumber(digits);
  if (!number) return std::nullopt;
  rate.frames = *number;
  const auto common = std::gcd(rate.frames, rate.seconds);
  return FrameRate{rate.frames / common, rate.seconds / common};
}

std::optional<FrameRate> fromFraction(std::string_view text, std::size_t colon) {
  const auto frames = wholeNumber(text.substr(0, colon));
  const auto seconds = wholeNumber(text.substr(colon + 1));
  if (!frames || !seconds) return std::nullopt;
  return FrameRate{*frames, *seconds};
}

bool isSensible(const FrameRate& rate) {
  constexpr std::int64_t kLongest = 1'000'000'000;  // leaves room for the number of a frame
  return rate.seconds > 0 && rate.seconds <= kLongest && 1000 * rate.frames >= rate.seconds &&
         rate.frames <= 1000 * rate.seconds;
}

}  // namespace

std::optional<FrameRate> FrameRate::fromText(std::string_view text) {
  const auto colon = text.find(':');
  const auto rate = colon == std::string_view::npos ? fromDecimal(text) : fromFraction(text, colon);
  return rate && isSensible(*rate) ? rate : std::nullopt;
}

double FrameRate::timeOf(int index) const {
  return static_cast<double>((index - 1) * seconds) / static_cast<double>(frames);
}

std::string FrameRate::text() const {
  return std::to_string(frames) + ":" + std::to_string(seconds);
}
