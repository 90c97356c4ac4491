#pragma once

#include <string>

namespace vuo {

struct PlainText {
  std::string text;  ///< valid UTF-8 without control characters but line feeds and tabs
  std::size_t characters = 0;
  bool isCut = false;
};

/// What of the bytes can be set. Bytes that are no UTF-8 become U+FFFD, however lines end they end
/// with a line feed, and at most `mostCharacters` stay, in `longestSetText` bytes.
PlainText plainTextOf(const std::string& bytes, std::size_t mostCharacters);

}  // namespace vuo
