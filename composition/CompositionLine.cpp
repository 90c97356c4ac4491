#include "composition/CompositionLine.h"

#include <algorithm>
#include <iterator>
#include <utility>

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

std::string withoutQuotes(std::string_view raw) {
  std::string clean;
  clean.reserve(raw.size());
  for (std::size_t i = 0; i < raw.size(); ++i) {
    const bool escapesQuote = raw[i] == '\\' && i + 1 < raw.size() && raw[i + 1] == '"';
    if (escapesQuote) {
      ++i;
    } else if (raw[i] != '"') {
      clean += raw[i];
    }
  }
  return clean;
}

}  // namespace

std::optional<PublishedKind> kindOfLine(std::string_view line) {
  if (line.starts_with("PublishedInputs")) return PublishedKind::Inputs;
  if (line.starts_with("PublishedOutputs")) return PublishedKind::Outputs;
  return std::nullopt;
}

std::optional<LineAttributes> LineAttributes::ofLine(std::string_view line) {
  const auto open = line.find('[');
  const auto close = line.rfind(']');
  if (open == std::string_view::npos || close == std::string_view::npos || close < open) {
    return std::nullopt;
  }
  return LineAttributes(line.substr(open + 1, close - open - 1));
}

LineAttributes::LineAttributes(std::string_view attributeText) : _text(attributeText) {
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
  return withoutQuotes(_text.substr(start, _text.find(' ', start) - start));
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
