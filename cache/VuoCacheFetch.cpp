// Fetching on the caller's thread: from the table where the record is fresh, else by compiling.
#include "cache/VuoCacheCompile.h"
#include "cache/VuoCacheState.h"
#include "platform/system/Bundle.h"
#include "platform/system/FileSystem.h"
#include "platform/system/WithMemory.h"

VuoCache::Item VuoCache::State::_fetchSynchronously(const Kind& kind, const Path& path) {
  if (!path) return nullptr;
  if (Item record = _freshCopyOfRecord(kind, *path)) return record;

  std::string artefactPath;
  VuoCacheItem::Date modDate;
  Compile compile;
  compile.began = std::chrono::steady_clock::now();
  const auto errorText = _compileUnchanged(kind, *path, artefactPath, modDate, compile.files);
  compile.took = std::chrono::steady_clock::now() - compile.began;
  if (errorText) compile.failure = compileFailureText(*path, *errorText);
  _lastCompiles.lockSetObject(std::make_shared<const Compile>(compile), *path);
  if (errorText) {
    queueCompileAlert(*compile.failure);
    return nullptr;
  }

  const auto shared = [](std::string text) {
    return std::make_shared<const std::string>(std::move(text));
  };
  const auto artefact = shared(std::move(artefactPath));
  const Item record = platform::orBadAlloc(VuoCacheItem::initWithVuoFile(
      shared(*path), kind.isDylib ? artefact : nullptr, kind.isDylib ? nullptr : artefact, modDate,
      kind.isDylib ? nullptr : shared(platform::mainBundlePath())));
  auto& table = this->*kind.table;
  table.lockSetObject(record, *path);
  return platform::orBadAlloc(record->copy());
}
