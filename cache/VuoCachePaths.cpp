// Where everything that the cache keeps lies, and the locks that processes share.
#include <algorithm>
#include <charconv>

#include "cache/VuoCacheState.h"
#include "platform/system/Digest.h"
#include "platform/system/FileSystem.h"
#include "platform/system/SystemLog.h"

std::string VuoCache::folderForSavePath(const std::string& savePath) {
  return platform::expandTilde(savePath + "/VuoCache");
}

/// The temporary one where that under the save path is not for this user alone.
std::string VuoCache::State::_cacheFolder() const {
  return _keepsNothing() ? platform::folderOfThisProcess() + "/VuoCache"
                         : folderForSavePath(_savePath.value_or(""));
}

bool VuoCache::State::_keepsNothing() const {
  const std::string folder = folderForSavePath(_savePath.value_or(""));
  if (!platform::isFolder(folder) || platform::isForThisUserAlone(folder)) return false;
  if (!_refusalLogged.exchange(true)) {
    platform::systemLog(
        "\t\terr: %@ belongs to somebody else or others may write to it, keeping nothing there, %s",
        {folder, "-[VuoCache _cacheFolder]"});
  }
  return true;
}

bool VuoCache::State::_makeCacheFolder() const {
  const std::string folder = _cacheFolder();
  return platform::itemExists(folder) ||
         (platform::createFolders(platform::deletingLastPathComponent(folder)) &&
          platform::createFolderForThisUserAlone(folder));
}

std::string VuoCache::State::_artefactFolder(const std::string& cacheFolder,
                                             const std::string& path) {
  return cacheFolder + "/" + *_hashThisString(path);
}

VuoCache::Path VuoCache::State::_hashThisString(const Path& text) {
  return text ? Path(platform::md5Digits(*text)) : std::nullopt;
}

std::string VuoCache::State::_artefactPath(const Kind& kind, const std::string& path) const {
  return _artefactFolder(_cacheFolder(), path) + "/" + (kind.isDylib ? kLibraryName : _baseName);
}

/// Not under the save path. Left in place, and replaced by the next compile of the same
/// composition.
std::string VuoCache::State::_bitcodePath(const std::string& path) {
  return "/tmp/" + *_hashThisString(path) + ".bc";
}

/// One file holds all locks, a byte for each. It does not lie in the folder, since clearing moves
/// that one away from under those who hold a lock.
std::optional<platform::FileLock> VuoCache::State::_lockRecords() const {
  return platform::FileLock::wait(_cacheFolder() + ".lock", 0);
}

std::optional<platform::FileLock> VuoCache::State::_lockComposition(const std::string& cacheFolder,
                                                                    const std::string& key,
                                                                    bool waiting) {
  constexpr std::size_t kDigits = 15;
  std::uint64_t byte = 0;
  std::from_chars(key.data(), key.data() + std::min(kDigits, key.size()), byte, 16);
  const std::string file = cacheFolder + ".lock";
  return waiting ? platform::FileLock::wait(file, 1 + byte)
                 : platform::FileLock::tryOnce(file, 1 + byte);
}
