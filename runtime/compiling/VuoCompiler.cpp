#include "runtime/VuoCompiler.h"

#include <stdexcept>

#include "runtime/HelperFolder.h"
#include "runtime/VuoArtefact.h"
#include "runtime/compiling/ArtefactFile.h"
#include "runtime/compiling/CompiledPlan.h"

VuoCompiler::VuoCompiler() = default;
VuoCompiler::~VuoCompiler() = default;

void VuoCompiler::compileComposition(std::string compositionPath, std::string bitcodePath) {
  _plans.erase(bitcodePath);
  std::string plan = vuo::compiledPlan(compositionPath);
  vuo::leaveBitcode(bitcodePath, vuo::artefactOf(plan));
  _plans.emplace(std::move(bitcodePath), std::move(plan));
}

void VuoCompiler::linkCompositionToCreateDynamicLibrary(std::string bitcodePath,
                                                        std::string libraryPath, Optimization) {
  vuo::writeArtefact(libraryPath, vuo::artefactOf(planMadeAs(bitcodePath)), 0644);
}

void VuoCompiler::linkCompositionToCreateExecutable(std::string bitcodePath,
                                                    std::string executablePath, Optimization, bool,
                                                    std::string rPath) {
  if (!rPath.empty()) throw std::runtime_error("A composition takes no library path: " + rPath);
  const std::string player = vuo::helperFolder() + "/vuo-player";
  vuo::writeArtefact(executablePath,
                     vuo::artefactOf(planMadeAs(bitcodePath), vuo::executableLine(player)), 0755);
}

const std::string& VuoCompiler::planMadeAs(const std::string& bitcodePath) const {
  const auto plan = _plans.find(bitcodePath);
  if (plan == _plans.end())
    throw std::runtime_error(bitcodePath + " is nothing that was compiled just now");
  return plan->second;
}
