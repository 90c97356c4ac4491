#include "runtime/VuoRunner.h"

#include <fcntl.h>
#include <json-c/json.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "platform/hostbase/HostStrings.h"
#include "platform/system/JsonOwner.h"
#include "runtime/HelperFolder.h"
#include "runtime/Value.h"
#include "runtime/VuoArtefact.h"
#include "runtime/runner/InstalledModule.h"
#include "runtime/runner/InstanceRunner.h"
#include "runtime/runner/SeparateProcessInstance.h"
#include "runtime/text/TypesetterFiles.h"
#include "runtime/transport/Protocol.h"

using vuo::Instance;
using vuo::InstanceListener;

namespace {

std::string fileToDelete(const std::string& artefact, bool really) {
  return really ? artefact : std::string();
}

struct OpenArtefact {
  platform::FileDescriptor file;
  std::string plan;
};

OpenArtefact opened(const std::string& path) {
  OpenArtefact artefact{
      platform::FileDescriptor(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)), {}};
  if (!artefact.file) throw std::runtime_error(path + " can't be opened: " + std::strerror(errno));
  try {
    artefact.plan = vuo::planTextIn(artefact.file.get());
  } catch (const std::runtime_error& fault) {
    throw std::runtime_error(path + ": " + fault.what());
  }
  return artefact;
}

/// The first text input that is named for one, as for whoever reads the composition.
std::optional<vuo::PublishedTextFile> textFileOf(const std::vector<vuo::Port>& inputs,
                                                 const std::string& folder) {
  const auto found = std::find_if(inputs.begin(), inputs.end(), [](const vuo::Port& input) {
    return input.type == vuo::Type::Text && denotesTXTFileInput(input.name);
  });
  if (found == inputs.end()) return std::nullopt;
  const platform::JsonOwner name(json_tokener_parse(found->constant.c_str()));
  return vuo::PublishedTextFile{
      static_cast<std::size_t>(found - inputs.begin()), folder,
      std::get<std::string>(name ? vuo::valueFromJson(vuo::Type::Text, name.get()) : "")};
}

/// `Plan` may be a surface as well.
template <class Plan>
vuo::PublishedPorts publishedPortsOf(const Plan& plan, const std::string& folder) {
  vuo::PublishedPorts ports;
  for (const vuo::Port& port : plan.publishedInputs) ports.inputs.push_back({port.name, port.type});
  for (const vuo::Port& port : plan.publishedOutputs)
    ports.outputs.push_back({port.name, port.type});
  ports.textFile = textFileOf(plan.publishedInputs, folder);
  return ports;
}

vuo::ContainedProgram playerOf(const std::string& folder, bool setsText) {
  vuo::ContainedProgram player;
  player.program = vuo::helperFolder() + "/vuo-player";
  player.arguments = {folder};
  if (setsText) player.readable = vuo::filesOfTypesetter();
  player.readable.push_back(folder.empty() ? "." : folder);
  return player;
}

}  // namespace

VuoRunner* VuoRunner::newSeparateProcessRunnerFromExecutable(std::string executablePath,
                                                             std::string sourceDirectory,
                                                             bool outliveHost,
                                                             bool deleteExecutable) {
  OpenArtefact artefact = opened(executablePath);
  const vuo::PlanSurface surface = vuo::surfaceInPlan(artefact.plan);
  vuo::ContainedProgram player = playerOf(sourceDirectory, surface.setsText);
  player.endsWithHost = !outliveHost;
  if (outliveHost) player.arguments.push_back(vuo::outliveHostArgument);
  const auto ports = publishedPortsOf(surface, sourceDirectory);
  return new vuo::InstanceRunner(
      ports,
      [&](InstanceListener& listener) {
        return std::make_shared<vuo::SeparateProcessInstance>(
            executablePath, std::move(artefact.file), player, ports, listener);
      },
      fileToDelete(executablePath, deleteExecutable));
}

VuoRunner* VuoRunner::newCurrentProcessRunnerFromDynamicLibrary(std::string dylibPath,
                                                                std::string sourceDirectory,
                                                                bool deleteDylib) {
  const vuo::Plan plan = vuo::planFromText(opened(dylibPath).plan);
  return new vuo::InstanceRunner(
      publishedPortsOf(plan, sourceDirectory),
      [&](InstanceListener& listener) {
        return std::shared_ptr<Instance>(vuo::installedModule()(plan, sourceDirectory, listener));
      },
      fileToDelete(dylibPath, deleteDylib));
}

VuoRunner::Artefact VuoRunner::artefactAt(const std::string& artefactPath,
                                          const std::string& sourceDirectory) {
  Artefact artefact;
  try {
    const auto files = vuo::filesInPlan(opened(artefactPath).plan);
    for (const vuo::SourceFile& file : files)
      artefact.files.push_back(vuo::pathOf(file.name, sourceDirectory));
    artefact.canRun = vuo::areUnchanged(files, sourceDirectory);
  } catch (const std::exception&) {
    // Whatever is wrong with it, it can't be run.
  }
  return artefact;
}
