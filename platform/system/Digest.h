#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace platform {

/// The MD5 digest of the bytes of `text`.
std::array<std::uint8_t, 16> md5(std::string_view text);
/// The same as 32 digits, upper case.
std::string md5Digits(std::string_view text);

}  // namespace platform
