// A text's lines.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

/// The length of the line break at `at`, or 0: LF, CR, CR LF, NEL, LINE SEPARATOR or PARAGRAPH
/// SEPARATOR.
inline std::size_t lineBreakAt(std::string_view text, std::size_t at) {
  switch (text[at]) {
    case '\n':
      return 1;
    case '\r':
      return text.substr(at, 2) == "\r\n" ? 2 : 1;
    case '\xC2':
      return text.substr(at, 2) == "\xC2\x85" ? 2 : 0;
    case '\xE2':
      return text.substr(at, 3) == "\xE2\x80\xA8" || text.substr(at, 3) == "\xE2\x80\xA9" ? 3 : 0;
    default:
      return 0;
  }
}

/// Finds the places where a line break may begin. Each of the bytes that can begin one is looked
/// for by itself, which costs a small part of looking at every byte.
class BreakFinder {
 public:
  explicit BreakFinder(std::string_view text) : _text(text) {
    for (Lead& lead : _leads) lead.next = _text.find(lead.byte);
  }

  /// The first place that is not before `from`; `npos` when there is none. `from` never decreases.
  std::size_t nextFrom(std::size_t from) {
    std::size_t first = std::string_view::npos;
    for (Lead& lead : _leads) {
      if (lead.next < from) lead.next = _text.find(lead.byte, from);
      first = std::min(first, lead.next);
    }
    return first;
  }

 private:
  struct Lead {
    char byte;
    std::size_t next = 0;
  };
  std::string_view _text;
  Lead _leads[4] = {{'\n'}, {'\r'}, {'\xC2'}, {'\xE2'}};
};

/// Hands each line to `use`, without its break.
template <class Use>
void forEachLine(std::string_view text, Use use) {
  BreakFinder breaks(text);
  std::size_t start = 0;
  for (std::size_t at = 0; (at = breaks.nextFrom(at)) != std::string_view::npos;) {
    const std::size_t length = lineBreakAt(text, at);
    if (length == 0) {
      ++at;
      continue;
    }
    use(text.substr(start, at - start));
    start = at = at + length;
  }
  use(text.substr(start));
}
