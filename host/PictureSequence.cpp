#include "host/PictureSequence.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <string_view>

#include "host/FramePattern.h"
#include "platform/system/FileSystem.h"

namespace {

constexpr std::string_view kDigits = "0123456789";

/// Takes the digits at the beginning of `text` away and returns them without leading zeros.
std::string_view consumeNumber(std::string_view& text) {
  const auto digits = std::min(text.find_first_not_of(kDigits), text.size());
  std::string_view number = text.substr(0, digits);
  number.remove_prefix(std::min(number.find_first_not_of('0'), number.size()));
  text.remove_prefix(digits);
  return number;
}

bool beginsWithDigit(std::string_view text) {
  return !text.empty() && kDigits.find(text[0]) != std::string_view::npos;
}

/// Numbers in the names count by their values, the rest by its bytes.
bool comesBefore(const std::string& left, const std::string& right) {
  std::string_view a = left, b = right;
  while (!a.empty() && !b.empty()) {
    if (beginsWithDigit(a) && beginsWithDigit(b)) {
      const auto x = consumeNumber(a), y = consumeNumber(b);
      if (x != y) return x.size() != y.size() ? x.size() < y.size() : x < y;
    } else {
      if (a[0] != b[0]) return static_cast<unsigned char>(a[0]) < static_cast<unsigned char>(b[0]);
      a.remove_prefix(1);
      b.remove_prefix(1);
    }
  }
  return a.empty() && b.empty() ? left < right : a.empty();
}

std::vector<std::string> picturesIn(const std::string& folder) {
  std::vector<std::string> files;
  std::error_code error;
  for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    if (isPictureName(entry->path().string())) files.push_back(entry->path().string());
  }
  std::sort(files.begin(), files.end(), comesBefore);
  return files;
}

}  // namespace

bool isPictureName(const std::string& name) {
  std::string extension = std::filesystem::path(name).extension();
  for (char& c : extension) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return extension == ".png";
}

std::vector<std::string> picturesNamed(const std::string& input) {
  if (platform::isFolder(input)) return picturesIn(input);
  if (!hasFrameNumber(input)) return {input};
  std::vector<std::string> files;
  int number = platform::itemExists(frameFile(input, 0, 1)) ? 0 : 1;
  for (;; ++number) {
    const std::string file = frameFile(input, number, 1);
    if (!platform::itemExists(file)) return files;
    files.push_back(file);
  }
}
