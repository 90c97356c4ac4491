// Which artefacts may be served. An artefact bears the modification date of the composition that it
// was made from as its own, so that every process sees what another one has put in its place.
#include "cache/VuoCacheState.h"
#include "platform/system/FileSystem.h"
#include "platform/system/SystemLog.h"

namespace {

VuoCacheItem::Text artefactOf(bool isDylib, const VuoCacheItem& record) {
  return isDylib ? record.cachedDylibPath() : record.cachedExePath();
}

}  // namespace

bool isExecutableName(std::string_view name) {
  constexpr std::size_t kLongest = 200;  // file systems allow 255, and writers append to it
  return !name.empty() && name.size() <= kLongest && name != "." && name != ".." &&
         name != kLibraryName && name.find_first_of(std::string_view("/\0", 2)) == name.npos;
}

/// Whether the path is that of an artefact of the composition.
bool VuoCache::State::_isArtefact(const Kind& kind, const std::string& cacheFolder,
                                  const std::string& path, const std::string& artefact) {
  const std::string folder = _artefactFolder(cacheFolder, path);
  if (!artefact.starts_with(folder + "/")) return false;
  const std::string name = artefact.substr(folder.size() + 1);
  return (kind.isDylib ? name == kLibraryName : isExecutableName(name)) &&
         platform::isOwnRealFolder(folder) && platform::isOwnRealFile(artefact);
}

/// Whether a record from a file is about that composition and names an artefact of it alone, which
/// is the one that the record was made with. None is in a folder to which others may write.
bool VuoCache::State::_isValid(const Kind& kind, const std::string& cacheFolder,
                               const std::string& path, const VuoCacheItem& record) {
  const auto composition = record.vuoFilePath();
  const auto artefact = artefactOf(kind.isDylib, record);
  return composition && *composition == path && artefact && !artefactOf(!kind.isDylib, record) &&
         platform::isForThisUserAlone(cacheFolder) &&
         _isArtefact(kind, cacheFolder, path, *artefact) && record.isValid() &&
         platform::modificationTime(*artefact) == record.modDate();
}

/// A record that is up to date and whose artefact nobody has replaced by another. That it is gone
/// does not count.
VuoCache::Item VuoCache::State::_freshCopyOfRecord(const Kind& kind,
                                                   const std::string& path) const {
  Item record = _copyOfRecord(kind, path);
  if (!record || !record->upToDate()) return nullptr;
  const auto artefact = artefactOf(kind.isDylib, *record);
  const auto made = artefact ? platform::modificationTime(*artefact) : std::nullopt;
  return made && made != record->modDate() ? nullptr : record;
}

/// Says that a saved record is no good, and deletes its executable, unless another process has
/// meanwhile made that anew.
void VuoCache::State::_drop(const SavedRecord& saved) const {
  const VuoCacheItem& record = *saved.record;
  const auto composition = record.vuoFilePath();
  platform::systemLog(
      "\t\terr: item isn't up-to-date or isn't valid, deleting cached item- path for comp was %@",
      {composition ? platform::LogArgument(*composition)
                   : platform::LogArgument(std::optional<std::string>())});
  const auto exe = record.cachedExePath();
  const std::string& path = saved.compositionPath;
  if (!exe || !_isArtefact(kExe, _cacheFolder(), path, *exe)) return;
  const auto hold = _lockComposition(_cacheFolder(), *_hashThisString(path), false);
  if (!hold) return;  // it is being made anew
  const auto current = platform::modificationTime(path);
  if (record.upToDate() || !current || platform::modificationTime(*exe) != current)
    platform::removeFile(*exe);
}

void VuoCache::State::_discard(const VuoCacheItem& item) {
  const auto path = item.vuoFilePath();
  if (!path) return;
  const bool isDylib = item.cachedDylibPath() != nullptr;
  const Kind& kind = isDylib ? kDylib : kExe;
  const auto artefact = artefactOf(isDylib, item);
  const Item record = _copyOfRecord(kind, *path);
  if (!record || !artefact || record->modDate() != item.modDate()) return;
  if (_isArtefact(kind, _cacheFolder(), *path, *artefact)) {
    const auto hold = _lockComposition(_cacheFolder(), *_hashThisString(*path), false);
    if (hold && platform::modificationTime(*artefact) == item.modDate())
      platform::removeFile(*artefact);
  }
  record->setModDate(std::nullopt);
  auto& table = this->*kind.table;
  table.lockSetObject(record, *path);
}
