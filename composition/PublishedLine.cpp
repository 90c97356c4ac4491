#include "composition/PublishedLine.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "composition/WhiteSpace.h"

namespace {

/// Only these keys are ever asked for.
bool isOfInterest(std::string_view key) {
  return key.starts_with('_') || key == "label" || key == "type";
}

/// Calls `use` with each piece of `text` between separators.
template <class Use>
void forEachPiece(std::string_view text, char separator, Use use) {
  for (;;) {
    const auto end = text.find(separator);
    use(text.substr(0, end));
    if (end == std::string_view::npos) return;
    text.remove_prefix(end + 1);
  }
}

/// Quotes go, and each backslash that stands right before one.
std::string withoutQuotes(std::string_view raw) {
  std::string clean;
  clean.reserve(raw.size());
  for (;;) {
    const auto quote = raw.find('"');
    const std::string_view piece = raw.substr(0, quote);
    const bool isEscaped = quote != std::string_view::npos && piece.ends_with('\\');
    clean += piece.substr(0, piece.size() - isEscaped);
    if (quote == std::string_view::npos) return clean;
    raw.remove_prefix(quote + 1);
  }
}

/// Whether a value that a space follows was meant to go on: it begins with a quote, and the quote
/// that would end it is missing or a part of the text.
bool isCut(std::string_view raw) {
  if (!raw.starts_with('"')) return false;
  if (raw.size() == 1 || !raw.ends_with('"')) return true;
  const auto beforeBackslashes = raw.find_last_not_of('\\', raw.size() - 2);
  return (raw.size() - beforeBackslashes) % 2 != 0;
}

}  // namespace

std::string_view nodeName(PublishedKind kind) {
  return kind == PublishedKind::Inputs ? "PublishedInputs" : "PublishedOutputs";
}

std::optional<PublishedKind> kindOfLine(std::string_view line) {
  if (line.starts_with("PublishedInputs")) return PublishedKind::Inputs;
  if (line.starts_with("PublishedOutputs")) return PublishedKind::Outputs;
  return std::nullopt;
}

bool declaresNode(std::string_view line, PublishedKind kind) {
  const auto next = line.find_first_not_of(kWhiteSpace, nodeName(kind).size());
  return next != std::string_view::npos && line[next] == '[';
}

std::optional<LineAttributes> LineAttributes::ofLine(std::string_view line, ProblemList& problems) {
  const auto open = line.find('[');
  if (open == std::string_view::npos) return std::nullopt;
  const auto close = line.rfind(']');
  if (close == std::string_view::npos || close < open) return std::nullopt;
  return LineAttributes(line.substr(open + 1, close - open - 1), problems);
}

LineAttributes::LineAttributes(std::string_view attributeText, ProblemList& problems)
    : _problems(&problems), _text(attributeText) {
  forEachPiece(_text, ' ', [this](std::string_view piece) {
    const auto equals = piece.find('=');
    if (equals == std::string_view::npos) return;
    const std::string_view key = piece.substr(0, equals);
    if (isOfInterest(key)) _keys.push_back(key);
  });
  std::sort(_keys.begin(), _keys.end(), [](std::string_view a, std::string_view b) {
    const int order = a.compare(b);
    return order != 0 ? order < 0 : a.data() < b.data();
  });
}

std::optional<std::string> LineAttributes::value(std::string_view key) const {
  const auto after = std::upper_bound(_keys.begin(), _keys.end(), key);
  if (after == _keys.begin() || *std::prev(after) != key) return std::nullopt;
  const std::string_view last = *std::prev(after);
  const auto start = static_cast<std::size_t>(last.data() - _text.data()) + last.size() + 1;
  const auto end = _text.find(' ', start);
  const std::string_view raw = _text.substr(start, end - start);
  std::string clean = withoutQuotes(raw);
  if (end != std::string_view::npos && isCut(raw)) {
    _problems->add(ZQVuoProblemKind::ValueCutAtSpace,
                   inQuotes(key) + " is cut at a space and reads as " + inQuotes(clean));
  }
  return clean;
}

std::vector<std::string_view> portNamesInLabel(std::string_view label) {
  std::vector<std::string_view> names;
  bool isTitle = true;
  forEachPiece(label, '|', [&](std::string_view piece) {
    if (std::exchange(isTitle, false)) return;
    const auto open = piece.find('<');
    const auto close = piece.rfind('>');
    if (open == std::string_view::npos || close == std::string_view::npos || close < open) return;
    names.push_back(piece.substr(open + 1, close - open - 1));
  });
  return names;
}
