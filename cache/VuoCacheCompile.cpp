#include "cache/VuoCacheCompile.h"

#include <stdexcept>

#include "Brannow/ZQVuoAlertPanel.h"
#include "platform/runtime/VuoCompiler.h"
#include "platform/system/Dispatch.h"
#include "platform/system/FileSystem.h"

namespace {

void compileAndLink(const VuoCompileJob& job) {
  VuoCompiler compiler;
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

std::optional<std::string> compileArtefact(const VuoCompileJob& job) {
  try {
    compileAndLink(job);
  } catch (const std::runtime_error& error) {
    return error.what();
  } catch (...) {
    return "";
  }
  return std::nullopt;
}

void queueCompileAlert(const std::string& compositionPath, const std::string& errorText) {
  std::string message = "There was a problem loading the composition " +
                        platform::lastPathComponent(compositionPath) + ".  " + errorText;
  platform::MainQueue::shared().async([message = std::move(message)] {
    ZQVuoRunAlertPanel("Problem loading composition", message, "Whoops!", std::nullopt,
                       std::nullopt);
  });
}
