#include "runtime/text/PlainText.h"

#include <glib.h>

#include <memory>

#include "runtime/Limits.h"

namespace vuo {
namespace {

struct Free {
  void operator()(char* text) const { g_free(text); }
};
using ValidText = std::unique_ptr<char, Free>;

/// Of the first bytes, without half a character at their end.
ValidText validBeginning(const std::string& bytes) {
  std::size_t length = bytes.size();
  if (length > longestSetText) {
    length = longestSetText;
    while (length > 0 && (static_cast<unsigned char>(bytes[length]) & 0xc0) == 0x80) --length;
  }
  return ValidText(g_utf8_make_valid(bytes.data(), static_cast<gssize>(length)));
}

/// What stands for it in one text; 0 where nothing does.
gunichar plain(gunichar character) {
  constexpr gunichar byteOrderMark = 0xfeff;
  if (character == '\n' || character == '\t') return character;
  if (character == '\r') return '\n';
  return g_unichar_iscntrl(character) || character == byteOrderMark ? 0 : character;
}

void append(std::string& text, gunichar character) {
  char bytes[6];
  text.append(bytes, static_cast<std::size_t>(g_unichar_to_utf8(character, bytes)));
}

}  // namespace

PlainText plainTextOf(const std::string& bytes, std::size_t mostCharacters) {
  PlainText plainText;
  plainText.isCut = bytes.size() > longestSetText;
  const ValidText valid = validBeginning(bytes);
  int marks = 0;
  for (const char* at = valid.get(); *at != '\0'; at = g_utf8_next_char(at)) {
    if (at[0] == '\r' && at[1] == '\n') continue;
    const gunichar character = plain(g_utf8_get_char(at));
    marks = g_unichar_ismark(character) ? marks + 1 : 0;
    if (character == 0 || marks > mostMarks) continue;
    if (plainText.characters == mostCharacters) {
      plainText.isCut = true;
      break;
    }
    append(plainText.text, character);
    ++plainText.characters;
  }
  return plainText;
}

}  // namespace vuo
