#include "cache/VuoCacheCompile.h"

#include <stdexcept>

#include "Brannow/ZQVuoAlertPanel.h"
#include "cache/VuoCacheState.h"
#include "platform/system/Dispatch.h"
#include "platform/system/FileSystem.h"
#include "runtime/VuoCompiler.h"

namespace {

void compileAndLink(VuoCompiler& compiler, const VuoCompileJob& job) {
  compiler.compileComposition(job.compositionPath, job.bitcodePath);
  if (job.isDylib) {
    compiler.linkCompositionToCreateDynamicLibrary(job.bitcodePath, job.artefactPath,
                                                   static_cast<VuoCompiler::Optimization>(0));
  } else {
    compiler.linkCompositionToCreateExecutable(
        job.bitcodePath, job.artefactPath, static_cast<VuoCompiler::Optimization>(2), false, "");
  }
}

}  // namespace

std::optional<std::string> compileArtefact(const VuoCompileJob& job,
                                           std::vector<std::string>& filesNamed) {
  std::optional<std::string> errorText;
  try {
    VuoCompiler compiler;
    try {
      compileAndLink(compiler, job);
    } catch (const std::runtime_error& error) {
      errorText = error.what();
    }
    filesNamed = compiler.filesNamed();
  } catch (...) {
    errorText = "";
  }
  return errorText;
}

std::string compileFailureText(const std::string& compositionPath, const std::string& errorText) {
  return "There was a problem loading the composition " +
         platform::lastPathComponent(compositionPath) + ".  " + errorText;
}

void queueCompileAlert(const std::string& failureText) {
  platform::MainQueue::shared().async([failureText] {
    ZQVuoRunAlertPanel("Problem loading composition", failureText, "Whoops!", std::nullopt,
                       std::nullopt);
  });
}

/// Compiles until the composition kept its modification date meanwhile: what was made from contents
/// that have been edited since must not pass for the edited file's. A file that changes all the
/// time is given no date, so that the next fetch compiles it again. None on success.
std::optional<std::string> VuoCache::State::_compileUnchanged(const Kind& kind,
                                                              const std::string& path,
                                                              std::string& artefactPath,
                                                              VuoCacheItem::Date& modDate,
                                                              std::vector<std::string>& files) {
  constexpr int kTries = 3;
  const int terminations = _terminations;
  for (int left = kTries; left > 0 && _terminations == terminations; --left) {
    VuoCacheItem::Date before;
    if (auto errorText = _compile(kind, path, artefactPath, before, files)) return errorText;
    modDate = platform::modificationTime(path);
    if (!modDate || modDate == before) return std::nullopt;
  }
  modDate = std::nullopt;
  return std::nullopt;
}

/// `modDate` becomes the file's when its turn to be compiled has come.
std::optional<std::string> VuoCache::State::_compile(const Kind& kind, const std::string& path,
                                                     std::string& artefactPath,
                                                     VuoCacheItem::Date& modDate,
                                                     std::vector<std::string>& files) {
  platform::createFolders(platform::deletingLastPathComponent(_cacheFolder()));
  const auto alone = _lockComposition(_cacheFolder(), *_hashThisString(path), true);
  platform::UniqueLock hold(_compilerSynchLock);
  _waitForTurnToCompile(hold);
  modDate = platform::settledModificationTime(path);
  const std::string folder = _artefactFolder(_cacheFolder(), path);
  if (!platform::itemExists(folder) && _makeCacheFolder()) platform::createFolders(folder);
  artefactPath = _artefactPath(kind, path);
  if (alone) platform::removeUnfinished(artefactPath);
  auto errorText = compileArtefact({path, _bitcodePath(path), artefactPath, kind.isDylib}, files);
  if (!errorText && modDate) platform::setModificationTime(artefactPath, *modDate);
  return errorText;
}

/// Saving does not wait for the compiles that wait themselves, only for the one under way.
void VuoCache::State::_waitForTurnToCompile(platform::UniqueLock& hold) {
  while (_savesWaiting != 0) _noSaveWaits.wait(hold);
}
