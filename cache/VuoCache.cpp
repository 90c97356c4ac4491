// The global cache: its configuration, its replacement, and the class operations that forward to
// it.

#include "Brannow/BrannowStringAdditions.h"
#include "cache/VuoCacheState.h"
#include "platform/system/Bundle.h"
#include "platform/system/FileSystem.h"
#include "platform/system/SystemLog.h"
#include "platform/system/UserDefaults.h"
#include "scene/Guarded.h"

using platform::systemLog;

namespace {

/// Never destroyed: other threads may still ask for it while the process ends.
std::shared_ptr<VuoCache>& _vuoCache = *new std::shared_ptr<VuoCache>;

constexpr const char* kVersionKey = "lastVuoFmwkVersString";

/// The version of the composition runtime that lies in this framework's bundle.
std::optional<std::string> runtimeVersion() {
  const auto bundle =
      platform::bundlePathContaining(reinterpret_cast<const void*>(&runtimeVersion));
  if (!bundle) return std::nullopt;
  const auto info = platform::bundleInformation(*bundle + "/Versions/A/Frameworks/Vuo.framework");
  if (!info) return std::nullopt;
  const auto version = platform::stringForKey(*info, "CFBundleVersion");
  return version ? version : platform::stringForKey(*info, "CFBundleShortVersionString");
}

std::shared_ptr<VuoCache> globalCacheFor(const char* operation) {
  if (!_vuoCache) systemLog("\t\terr: can't call, main cache nil, %s", {operation});
  return _vuoCache;
}

}  // namespace

const VuoCache::State::Kind VuoCache::State::kDylib{
    &State::_dylibCacheItems, "vuoDylibData.plist", true,
    "-[VuoCache isCachedDylibAvailableForVuoFile:]",
    "-[VuoCache fetchCachedDylibForVuoFile:callBlockWhenDone:]"};
const VuoCache::State::Kind VuoCache::State::kExe{
    &State::_exeCacheItems, "vuoExeData.plist", false,
    "-[VuoCache isCachedExeAvailableForVuoFile:]",
    "-[VuoCache fetchCachedExeForVuoFile:callBlockWhenDone:]"};

VuoCache::State::State() : _compilerQueue(platform::makeSerialQueue("VuoCompiler")) {}

VuoCache::VuoCache() : _state(std::make_shared<State>()) {}

VuoCache::~VuoCache() = default;

void VuoCache::configGlobalCacheWithSavePath(const Path& path) {
  guarded("+[VuoCache configGlobalCacheWithSavePath:]", [&] { State::_configure(path, false); });
}

/// A cache that was cleared a moment ago has nothing left to load. Nor has it anything to purge, so
/// an unreadable version, which never equals the last one, does not clear it a second time.
void VuoCache::State::_configure(const Path& path, bool justCleared) {
  constexpr const char* kName = "+[VuoCache configGlobalCacheWithSavePath:]";
  systemLog("%s", {kName});
  if (!path) {
    systemLog("\t\terr: can't config cache on a nil path, %s", {kName});
    return;
  }
  if (_vuoCache) {
    systemLog("\t\terr: cache already exists, bailing, %s", {kName});
    return;
  }
  const auto cache = std::make_shared<VuoCache>();
  cache->setSavePath(*path);
  cache->_state->_termination = platform::observeNotification(
      platform::NSApplicationWillTerminateNotification, [state = std::weak_ptr(cache->_state)] {
        if (const auto alive = state.lock()) alive->appTerminateNotification();
      });
  _vuoCache = cache;

  const auto version = runtimeVersion();
  const auto lastVersion = platform::userDefault(kVersionKey);
  systemLog("\t\tvuoFmwkVersString is %@, lastVuoFmwkVersString is %@", {version, lastVersion});
  if (version && version == lastVersion) {
    if (!justCleared) cache->_state->_load();
    return;
  }
  platform::setUserDefault(version, kVersionKey);
  if (!justCleared) clearCache();
}

std::shared_ptr<VuoCache> VuoCache::globalCache() {
  return _vuoCache;
}

void VuoCache::clearCache() {
  guarded("+[VuoCache clearCache]", State::_clear);
}

void VuoCache::State::_clear() {
  constexpr const char* kName = "+[VuoCache clearCache]";
  if (!globalCacheFor(kName)) return;
  const std::string savePath =
      trimExtraSlashFromEnd(platform::expandTilde(_vuoCache->savePath().value_or("")));
  const std::string cacheFolder = savePath + "/VuoCache";
  const bool isFolder = platform::isFolder(cacheFolder);
  if (isFolder) {
    platform::moveToTrash(cacheFolder);
  } else {
    systemLog("\t\terr: trash path nil or not a folder (%@, %d) in %s",
              {cacheFolder, static_cast<int>(isFolder), kName});
  }
  const auto former = std::exchange(_vuoCache, nullptr);
  try {
    _configure(savePath, true);
  } catch (const std::bad_alloc&) {
    if (!_vuoCache) _vuoCache = former;  // its records are of files that are gone, which is noticed
    throw;
  }
}

bool VuoCache::isCachedDylibAvailableForVuoFile(const Path& path) {
  constexpr const char* kName = "+[VuoCache isCachedDylibAvailableForVuoFile:]";
  const auto cache = globalCacheFor(kName);
  bool isAvailable = false;
  if (cache)
    guarded(kName, [&] { isAvailable = cache->_state->_isCachedAvailable(State::kDylib, path); });
  return isAvailable;
}

bool VuoCache::isCachedExeAvailableForVuoFile(const Path& path) {
  constexpr const char* kName = "+[VuoCache isCachedExeAvailableForVuoFile:]";
  const auto cache = globalCacheFor(kName);
  bool isAvailable = false;
  if (cache)
    guarded(kName, [&] { isAvailable = cache->_state->_isCachedAvailable(State::kExe, path); });
  return isAvailable;
}

VuoCache::Item VuoCache::fetchCachedDylibForVuoFileSynchronously(const Path& path) {
  constexpr const char* kName = "+[VuoCache fetchCachedDylibForVuoFileSynchronously:]";
  const auto cache = globalCacheFor(kName);
  Item item;
  if (cache)
    guarded(kName, [&] { item = cache->_state->_fetchSynchronously(State::kDylib, path); });
  return item;
}

VuoCache::Item VuoCache::fetchCachedExeForVuoFileSynchronously(const Path& path) {
  constexpr const char* kName = "+[VuoCache fetchCachedExeForVuoFileSynchronously:]";
  const auto cache = globalCacheFor(kName);
  Item item;
  if (cache) guarded(kName, [&] { item = cache->_state->_fetchSynchronously(State::kExe, path); });
  return item;
}

std::optional<std::string> VuoCache::compileFailureForVuoFile(const std::string& path) {
  const auto compile = State::_lastCompile(path, "+[VuoCache compileFailureForVuoFile:]");
  std::optional<std::string> text;
  guarded("+[VuoCache compileFailureForVuoFile:]", [&] {
    if (compile) text = compile->failure;
  });
  return text;
}

std::optional<VuoCache::Compile> VuoCache::lastCompileForVuoFile(const std::string& path) {
  const auto compile = State::_lastCompile(path, "+[VuoCache lastCompileForVuoFile:]");
  std::optional<Compile> copy;
  guarded("+[VuoCache lastCompileForVuoFile:]", [&] {
    if (compile) copy = *compile;
  });
  return copy;
}

std::shared_ptr<const VuoCache::Compile> VuoCache::State::_lastCompile(const std::string& path,
                                                                       const char* operation) {
  const auto cache = globalCacheFor(operation);
  if (!cache) return nullptr;
  platform::ReadHold hold(cache->_state->_lastCompiles);
  return cache->_state->_lastCompiles.objectForKey(path);
}

void VuoCache::fetchCachedDylibForVuoFile(const Path& path, Completion callBlockWhenDone) {
  const auto cache = globalCacheFor("+[VuoCache fetchCachedDylibForVuoFile:callBlockWhenDone:]");
  if (cache) cache->_state->_fetch(State::kDylib, path, std::move(callBlockWhenDone));
}

void VuoCache::fetchCachedExeForVuoFile(const Path& path, Completion callBlockWhenDone) {
  const auto cache = globalCacheFor("+[VuoCache fetchCachedExeForVuoFile:callBlockWhenDone:]");
  if (cache) cache->_state->_fetch(State::kExe, path, std::move(callBlockWhenDone));
}

void VuoCache::discardCachedItem(const Item& item) {
  const auto cache = globalCacheFor("+[VuoCache discardCachedItem:]");
  if (cache && item)
    guarded("+[VuoCache discardCachedItem:]", [&] { cache->_state->_discard(*item); });
}

void VuoCache::setSavePath(std::string path) {
  _state->_savePath = std::move(path);
}

const VuoCache::Path& VuoCache::savePath() const {
  return _state->_savePath;
}

void VuoCache::setExecutableName(const Path& name) {
  if (!name || name->empty()) return;
  if (isExecutableName(*name)) {
    _state->_baseName = *name;
  } else {
    systemLog("\t\terr: %@ can't be the name of an executable, %s",
              {*name, "-[VuoCache setExecutableName:]"});
  }
}
