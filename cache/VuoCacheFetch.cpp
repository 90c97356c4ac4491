// Fetching on the caller's thread: from the table where the record is fresh, else by compiling.
#include "Brannow/VuoCache.h"
#include "cache/VuoCacheCompile.h"
#include "cache/VuoCacheKind.h"
#include "platform/system/Bundle.h"
#include "platform/system/FileSystem.h"

VuoCache::Item VuoCache::_fetchSynchronously(const Kind& kind, const Path& path) {
  if (!path) return nullptr;
  if (Item record = _copyOfRecord(kind, *path); record && record->upToDate()) return record;

  std::string artefactPath;
  VuoCacheItem::Date modDate;
  if (const auto errorText = _compileUnchanged(kind, *path, artefactPath, modDate)) {
    queueCompileAlert(*path, *errorText);
    return nullptr;
  }

  const auto shared = [](std::string text) {
    return std::make_shared<const std::string>(std::move(text));
  };
  const auto artefact = shared(std::move(artefactPath));
  const Item record = VuoCacheItem::initWithVuoFile(
      shared(*path), kind.isDylib ? artefact : nullptr, kind.isDylib ? nullptr : artefact, modDate,
      kind.isDylib ? nullptr : shared(platform::mainBundlePath()));
  (this->*kind.table).lockSetObject(record, *path);
  return record->copy();
}

/// Compiles until the composition kept its modification date meanwhile: what was made from contents
/// that have been edited since must not pass for the edited file's. A file that changes all the
/// time is given no date, so that the next fetch compiles it again. None on success.
std::optional<std::string> VuoCache::_compileUnchanged(const Kind& kind, const std::string& path,
                                                       std::string& artefactPath,
                                                       VuoCacheItem::Date& modDate) {
  constexpr int kTries = 3;
  for (int left = kTries; left > 0; --left) {
    const auto before = platform::modificationTime(path);
    if (auto errorText = _compile(kind, path, artefactPath)) return errorText;
    modDate = platform::modificationTime(path);
    if (modDate == before) return std::nullopt;
  }
  modDate = std::nullopt;
  return std::nullopt;
}

std::optional<std::string> VuoCache::_compile(const Kind& kind, const std::string& path,
                                              std::string& artefactPath) {
  std::lock_guard hold(_compilerSynchLock);
  const std::string folder = _artefactFolder(path);
  if (!platform::itemExists(folder)) platform::createFolders(folder);
  artefactPath = folder + "/" + (kind.isDylib ? "dylib.dylib" : _baseName);
  return compileArtefact(
      {path, "/tmp/" + *_hashThisString(path) + ".bc", artefactPath, kind.isDylib});
}
