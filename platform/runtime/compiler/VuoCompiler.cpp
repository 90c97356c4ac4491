#include "platform/runtime/VuoCompiler.h"

#include <stdexcept>

#include "platform/runtime/VuoPlan.h"
#include "platform/runtime/compiler/HelperFolder.h"
#include "platform/runtime/compiler/OwnFile.h"
#include "platform/runtime/compiler/PlanMaker.h"

namespace {

constexpr mode_t executable = 0755;

void link(const std::string& prebuiltName, const std::string& bitcodePath,
          const std::string& artefactPath) {
  const std::string planText = vuo::readOwnFile(bitcodePath);
  try {
    vuo::planFromText(planText);
  } catch (const std::runtime_error& fault) {
    throw std::runtime_error(bitcodePath + ": " + fault.what());
  }
  vuo::replaceFileWithCopy(artefactPath, vuo::helperFolder() + "/" + prebuiltName,
                           vuo::attachment(planText), executable);
}

}  // namespace

VuoCompiler::VuoCompiler() = default;
VuoCompiler::~VuoCompiler() = default;

void VuoCompiler::compileComposition(std::string compositionPath, std::string bitcodePath) {
  vuo::Plan plan;
  try {
    plan = vuo::planOfComposition(compositionPath);
  } catch (const std::runtime_error& fault) {
    throw std::runtime_error(compositionPath + ": " + fault.what());
  }
  vuo::replaceOwnFile(bitcodePath, vuo::serialized(plan));
}

void VuoCompiler::linkCompositionToCreateDynamicLibrary(std::string bitcodePath,
                                                        std::string libraryPath, Optimization) {
  link("vuo-module.so", bitcodePath, libraryPath);
}

void VuoCompiler::linkCompositionToCreateExecutable(std::string bitcodePath,
                                                    std::string executablePath, Optimization, bool,
                                                    std::string rPath) {
  if (!rPath.empty()) throw std::runtime_error("A composition takes no library path: " + rPath);
  link("vuo-player", bitcodePath, executablePath);
}
