#include "runtime/compiler/Faults.h"

#include <algorithm>
#include <cctype>
#include <numeric>
#include <string_view>
#include <tuple>
#include <utility>

#include "runtime/compiler/Word.h"

namespace vuo {
namespace {

constexpr int mostKept = 100;

std::string lowerCase(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

/// How many letters are to be changed, put in, left out or exchanged with the next one.
std::size_t distance(const std::string& a, const std::string& b) {
  std::vector<std::size_t> last, row(b.size() + 1), next(b.size() + 1);
  std::iota(row.begin(), row.end(), 0);
  for (std::size_t i = 1; i <= a.size(); ++i) {
    next[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      next[j] = std::min({row[j] + 1, next[j - 1] + 1, row[j - 1] + (a[i - 1] != b[j - 1])});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
        next[j] = std::min(next[j], last[j - 2] + 1);
    }
    last = std::exchange(row, next);
  }
  return row.back();
}

bool standsAlone(std::string_view text, std::size_t at, std::size_t length) {
  return !isWord(text[at]) || ((at == 0 || !isWord(text[at - 1])) &&
                               (at + length >= text.size() || !isWord(text[at + length])));
}

int charactersIn(std::string_view text) {
  return static_cast<int>(
      std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xc0) != 0x80; }));
}

}  // namespace

void Faults::keep(message::CompileFault fault) {
  if (_list.faults.size() < mostKept) _list.faults.push_back(std::move(fault));
}

void Faults::addIn(const std::string& file, Place place, const std::string& what) {
  ++_errors;
  keep({file, place.line, place.column, false, what});
}

void Faults::addWarning(Place place, const std::string& what) {
  keep({"", place.line, place.column, true, what});
}

message::FaultList Faults::take() {
  std::stable_sort(_list.faults.begin(), _list.faults.end(), [](const auto& a, const auto& b) {
    const bool noColumn[] = {a.column == 0, b.column == 0};
    return std::tie(a.file, a.line, noColumn[0], a.column) <
           std::tie(b.file, b.line, noColumn[1], b.column);
  });
  return std::exchange(_list, {});
}

std::optional<std::string> nearestOf(const std::string& written,
                                     const std::vector<std::string>& names) {
  constexpr std::size_t longest = 64, most = 1000;
  if (written.empty() || written.size() > longest) return std::nullopt;
  std::size_t least = std::min(std::max<std::size_t>(written.size() / 3, 1) + 1, written.size());
  std::optional<std::string> nearest;
  for (std::size_t i = 0; i < std::min(names.size(), most); ++i) {
    if (names[i].size() > longest || names[i] == written) continue;
    const std::size_t away = distance(lowerCase(written), lowerCase(names[i]));
    if (away >= least) continue;
    least = away;
    nearest = names[i];
  }
  return nearest;
}

std::string didYouMean(const std::string& written, const std::vector<std::string>& names) {
  const auto nearest = nearestOf(written, names);
  return nearest ? "; did you mean \"" + *nearest + "\"?" : "";
}

bool isNearly(const std::string& one, const std::string& other) {
  return one.size() <= other.size() + 1 && one != other &&
         distance(lowerCase(one), lowerCase(other)) <= 1;
}

Place placeOf(const std::string& text, const std::string& word, int line) {
  if (word.empty()) return {line, 0};
  int now = 1;
  for (std::size_t begin = 0; begin <= text.size(); ++now) {
    const std::size_t end = std::min(text.find('\n', begin), text.size());
    const auto inLine = std::string_view(text).substr(begin, end - begin);
    if (line == 0 || line == now)
      for (std::size_t at = inLine.find(word); at != inLine.npos; at = inLine.find(word, at + 1))
        if (standsAlone(inLine, at, word.size()))
          return {now, charactersIn(inLine.substr(0, at)) + 1};
    begin = end + 1;
  }
  return {line, 0};
}

}  // namespace vuo
