#pragma once

#include <charconv>
#include <optional>
#include <string_view>
#include <system_error>

/// The number that the whole text says; none where it says anything else.
template <class Number>
std::optional<Number> numberFromText(std::string_view text) {
  Number number{};
  const char* const end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, number);
  return result.ec == std::errc() && result.ptr == end ? std::optional(number) : std::nullopt;
}
