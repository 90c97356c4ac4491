#include "runtime/VuoRunner.h"

#include <fcntl.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "runtime/HelperFolder.h"
#include "runtime/VuoArtefact.h"
#include "runtime/containment/ShaderFolder.h"
#include "runtime/runner/InstalledModule.h"
#include "runtime/runner/InstanceRunner.h"
#include "runtime/runner/SeparateProcessInstance.h"
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

vuo::PublishedPorts publishedPortsOf(const vuo::Plan& plan) {
  vuo::PublishedPorts ports;
  for (const vuo::Port& port : plan.publishedInputs) ports.inputs.push_back({port.name, port.type});
  for (const vuo::Port& port : plan.publishedOutputs)
    ports.outputs.push_back({port.name, port.type});
  return ports;
}

vuo::ContainedProgram playerOf(const std::string& artefact, const std::string& folder) {
  vuo::ContainedProgram player;
  player.program = vuo::helperFolder() + "/vuo-player";
  player.arguments = {folder};
  player.readable = {folder.empty() ? "." : folder};
  player.ownFolder = vuo::shaderFolderOf(artefact);
  player.environment = vuo::shaderFolderVariables(player.ownFolder);
  return player;
}

}  // namespace

VuoRunner* VuoRunner::newSeparateProcessRunnerFromExecutable(std::string executablePath,
                                                             std::string sourceDirectory,
                                                             bool outliveHost,
                                                             bool deleteExecutable) {
  OpenArtefact artefact = opened(executablePath);
  vuo::ContainedProgram player = playerOf(executablePath, sourceDirectory);
  player.endsWithHost = !outliveHost;
  if (outliveHost) player.arguments.push_back(vuo::outliveHostArgument);
  const auto ports = publishedPortsOf(vuo::planFromText(artefact.plan));
  return new vuo::InstanceRunner(
      ports,
      [&](InstanceListener& listener) {
        return std::make_shared<vuo::SeparateProcessInstance>(std::move(artefact.file), player,
                                                              ports, listener);
      },
      fileToDelete(executablePath, deleteExecutable));
}

VuoRunner* VuoRunner::newCurrentProcessRunnerFromDynamicLibrary(std::string dylibPath,
                                                                std::string sourceDirectory,
                                                                bool deleteDylib) {
  const vuo::Plan plan = vuo::planFromText(opened(dylibPath).plan);
  return new vuo::InstanceRunner(
      publishedPortsOf(plan),
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
