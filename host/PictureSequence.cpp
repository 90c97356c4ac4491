#include "host/PictureSequence.h"

#include <algorithm>
#include <filesystem>

#include "host/FramePattern.h"
#include "platform/system/FileSystem.h"

namespace {

std::vector<std::string> picturesIn(const std::string& folder) {
  std::vector<std::string> files;
  std::error_code error;
  for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    if (entry->path().extension() == ".png") files.push_back(entry->path().string());
  }
  std::sort(files.begin(), files.end());
  return files;
}

}  // namespace

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
