#include "host/TerminalText.h"

#include "platform/system/FileSystem.h"

namespace {

/// C0, DEL and C1, and the characters that turn the direction of writing.
bool steersTerminal(std::string_view character) {
  const auto first = static_cast<unsigned char>(character[0]);
  if (character.size() == 1) return first < 0x20 || first == 0x7F;
  if (character.size() == 2)
    return first == 0xC2 && static_cast<unsigned char>(character[1]) < 0xA0;
  return (character >= "\xE2\x80\xA8" && character <= "\xE2\x80\xAE") ||
         (character >= "\xE2\x81\xA6" && character <= "\xE2\x81\xA9");
}

std::string spelledOut(std::string_view bytes) {
  constexpr char kHex[] = "0123456789abcdef";
  std::string text;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    text += {'\\', 'x', kHex[byte >> 4], kHex[byte & 15]};
  }
  return text;
}

}  // namespace

bool continuesCharacter(char c) {
  return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

std::string terminalText(std::string_view text) {
  const bool isText = platform::isValidUtf8(text);
  std::string result;
  while (!text.empty()) {
    std::size_t length = 1;
    while (isText && length < text.size() && continuesCharacter(text[length])) ++length;
    const std::string_view character = text.substr(0, length);
    const bool raw =
        isText ? !steersTerminal(character) : character[0] >= ' ' && character[0] < 127;
    result += raw ? std::string(character) : spelledOut(character);
    text.remove_prefix(length);
  }
  return result;
}
