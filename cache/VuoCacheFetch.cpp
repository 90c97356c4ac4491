// Fetching on the caller's thread: from the table where the record is fresh, else by compiling.
#include "Brannow/VuoCache.h"
#include "cache/VuoCacheCompile.h"
#include "cache/VuoCacheKind.h"
#include "platform/system/Bundle.h"
#include "platform/system/FileSystem.h"

VuoCache::Item VuoCache::_fetchSynchronously(const Kind& kind, const Path& path) {
  if (!path) return nullptr;
  if (Item record = _copyOfRecord(kind, *path); record && record->upToDate()) return record;

  VuoCompileJob job{*path, {}, {}, kind.isDylib};
  std::optional<std::string> errorText;
  {
    std::lock_guard hold(_compilerSynchLock);
    const std::string folder = _artefactFolder(*path);
    if (!platform::itemExists(folder)) platform::createFolders(folder);
    job.artefactPath = folder + "/" + (kind.isDylib ? "dylib.dylib" : _baseName);
    job.bitcodePath = "/tmp/" + *_hashThisString(path) + ".bc";
    errorText = compileArtefact(job);
  }
  if (errorText) {
    queueCompileAlert(*path, *errorText);
    return nullptr;
  }

  const auto shared = [](std::string text) {
    return std::make_shared<const std::string>(std::move(text));
  };
  const auto artefact = shared(job.artefactPath);
  const Item record = VuoCacheItem::initWithVuoFile(
      shared(*path), kind.isDylib ? artefact : nullptr, kind.isDylib ? nullptr : artefact,
      platform::modificationTime(*path),
      kind.isDylib ? nullptr : shared(platform::mainBundlePath()));
  (this->*kind.table).lockSetObject(record, *path);
  return record->copy();
}
