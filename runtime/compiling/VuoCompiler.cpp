#include "runtime/VuoCompiler.h"

#include <stdexcept>

#include "runtime/HelperFolder.h"
#include "runtime/VuoArtefact.h"
#include "runtime/compiling/ArtefactFile.h"
#include "runtime/compiling/CompiledPlan.h"

namespace {

/// A line for each, as many as people can read.
std::string errorsAmong(const std::vector<brannow::CompositionFault>& faults) {
  constexpr std::size_t longest = 4000;
  std::string text;
  for (const auto& fault : faults) {
    if (fault.isWarning) continue;
    if (text.size() > longest) return text + "\n…";
    text += (text.empty() ? "" : "\n") + descriptionOf(fault);
  }
  return text;
}

}  // namespace

std::string brannow::descriptionOf(const CompositionFault& fault) {
  std::string text = fault.file + ":";
  for (const std::size_t number : {fault.line, fault.column})
    if (number > 0) text += std::to_string(number) + ":";
  return text + (fault.isWarning ? " warning: " : " ") + fault.what;
}

VuoCompiler::VuoCompiler() = default;
VuoCompiler::~VuoCompiler() = default;

std::vector<brannow::CompositionFault> VuoCompiler::faultsOf(const std::string& compositionPath) {
  try {
    return vuo::compiledPlan(compositionPath).faults;
  } catch (const std::exception& fault) {
    return {{compositionPath, 0, 0, false, fault.what()}};
  }
}

void VuoCompiler::compileComposition(std::string compositionPath, std::string bitcodePath) {
  _plans.erase(bitcodePath);
  vuo::CompiledPlan plan = vuo::compiledPlan(compositionPath);
  _filesNamed = std::move(plan.files);
  if (const std::string errors = errorsAmong(plan.faults); !errors.empty())
    throw std::runtime_error(errors);
  vuo::leaveBitcode(bitcodePath, vuo::artefactOf(plan.text));
  _plans.emplace(std::move(bitcodePath), std::move(plan.text));
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
