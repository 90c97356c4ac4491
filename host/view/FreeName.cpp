#include "host/view/FreeName.h"

#include <filesystem>

#include "platform/system/FileSystem.h"

std::string freeName(const std::string& compositionFile, const std::string& ending) {
  const std::string name = std::filesystem::path(compositionFile).stem().string();
  for (int number = 1;; ++number) {
    std::string digits = std::to_string(number);
    digits.insert(0, digits.size() < 4 ? 4 - digits.size() : 0, '0');
    const std::string file = name + "-" + digits + ending;
    if (!platform::itemExists(file)) return file;
  }
}
