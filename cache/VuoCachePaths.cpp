// Where everything that the cache keeps lies.
#include <array>
#include <cstdio>

#include "Brannow/VuoCache.h"
#include "cache/VuoCacheKind.h"
#include "platform/system/Digest.h"
#include "platform/system/FileSystem.h"

std::string VuoCache::folderForSavePath(const std::string& savePath) {
  return platform::expandTilde(savePath + "/VuoCache");
}

std::string VuoCache::_cacheFolder() const {
  return folderForSavePath(_savePath.value_or(""));
}

std::string VuoCache::_artefactFolder(const std::string& path) const {
  return _cacheFolder() + "/" + *_hashThisString(path);
}

VuoCache::Path VuoCache::_hashThisString(const Path& text) {
  if (!text) return std::nullopt;
  std::string key;
  for (const std::uint8_t byte : platform::md5(*text)) {
    std::array<char, 3> digits;
    std::snprintf(digits.data(), digits.size(), "%02X", byte);
    key += digits.data();
  }
  return key;
}

std::string VuoCache::_artefactPath(const Kind& kind, const std::string& path) const {
  return _artefactFolder(path) + "/" + (kind.isDylib ? "dylib.dylib" : _baseName);
}

/// Not under the save path. Left in place, and replaced by the next compile of the same
/// composition.
std::string VuoCache::_bitcodePath(const std::string& path) {
  return "/tmp/" + *_hashThisString(path) + ".bc";
}
