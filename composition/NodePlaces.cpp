#include "composition/NodePlaces.h"

#include <algorithm>
#include <string>

#include "composition/PublishedLine.h"
#include "composition/WhiteSpace.h"

namespace {

constexpr auto npos = std::string_view::npos;

/// Behind `end` when it comes at or after `from`, else the text's end.
std::size_t behind(std::string_view text, std::string_view end, std::size_t from) {
  const auto found = text.find(end, from);
  return found == npos ? text.size() : found + end.size();
}

/// Behind the quoted text that begins at `at`.
std::size_t behindQuotes(std::string_view text, std::size_t at) {
  while ((at = text.find_first_of("\"\\", at + 1)) != npos) {
    if (text[at] == '"') return at + 1;
    ++at;  // what follows a backslash ends nothing
  }
  return text.size();
}

/// Behind the comment or quoted text that begins at `at`; `at` where none does.
std::size_t behindHidden(std::string_view text, std::size_t at) {
  if (text[at] == '"') return behindQuotes(text, at);
  if (text.substr(at, 2) == "//") return behind(text, "\n", at);
  if (text.substr(at, 2) == "/*") return behind(text, "*/", at + 2);
  return at;
}

/// The next place that holds neither white space nor a comment.
std::size_t behindBlank(std::string_view text, std::size_t at) {
  while ((at = std::min(text.find_first_not_of(kWhiteSpace, at), text.size())) < text.size()) {
    const auto end = text[at] == '/' ? behindHidden(text, at) : at;
    if (end == at) break;
    at = end;
  }
  return at;
}

/// Behind the "]" of the list that begins at `at`; `npos` when it is not in the text.
std::size_t behindList(std::string_view text, std::size_t at) {
  while ((at = text.find_first_of("]\"/", at)) != npos) {
    if (text[at] == ']') return at + 1;
    at = std::max(behindHidden(text, at), at + 1);
  }
  return npos;
}

/// What follows the name of a published node.
struct Declaration {
  bool isOne = false;  ///< and no cable from or to the node
  bool isOverSeveralLines = false;

  /// A node's attributes stand in any number of lists behind its name, which ends at `at`.
  Declaration(std::string_view text, std::size_t at, std::size_t lineEnd) {
    while ((at = behindBlank(text, at)) < text.size() && text[at] == '[') {
      isOne = true;
      at = at < lineEnd ? behindList(text.substr(0, lineEnd), at) : npos;
      isOverSeveralLines = at == npos;
      if (isOverSeveralLines) return;
    }
  }
};

/// A quick look, since most lines are other nodes and cables.
bool mayBeWrong(std::string_view line) {
  if (line.empty()) return false;
  if (line[0] != 'P') return line[0] <= ' ';
  const auto kind = kindOfLine(line);
  return kind && line.substr(nodeName(*kind).size(), 1) != ":" && !line.ends_with("];");
}

}  // namespace

bool NodePlaces::areRightOn(std::string_view line) {
  return !mayBeWrong(line) || !tell(line);
}

bool NodePlaces::tell(std::string_view line) {
  const auto indent = std::min(line.find_first_not_of(kWhiteSpace), line.size());
  const auto kind = kindOfLine(line.substr(indent));
  if (!kind) return false;
  const auto begin = static_cast<std::size_t>(line.data() - _text.data());
  const std::string name(nodeName(*kind));
  const Declaration node(_text, begin + indent + name.size(), begin + line.size());
  const bool isWrong = node.isOne && (indent > 0 || node.isOverSeveralLines);
  if (!isWrong || isHidden(begin + indent)) return false;
  if (indent > 0) {
    _problems.add(ZQVuoProblemKind::NodeIndented,
                  name + " is not read: its line begins with white space");
  }
  if (node.isOverSeveralLines) {
    _problems.add(ZQVuoProblemKind::NodeOverSeveralLines,
                  name + " is not read as a whole: it lies on several lines");
  }
  return true;
}

/// Whether a place, which never decreases, lies in a comment or between quotes.
bool NodePlaces::isHidden(std::size_t place) {
  while (_hiddenEnd <= place) {
    _hiddenBegin = std::min(_text.find_first_of("\"/", _hiddenEnd), _text.size());
    const bool isBehind = _hiddenBegin >= place;
    _hiddenEnd =
        isBehind ? _hiddenBegin : std::max(behindHidden(_text, _hiddenBegin), _hiddenBegin + 1);
    if (isBehind) return false;
  }
  return _hiddenBegin < place;
}
