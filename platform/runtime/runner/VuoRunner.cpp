#include "platform/runtime/VuoRunner.h"

#include <fcntl.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "platform/runtime/runner/CompositionRunner.h"
#include "platform/runtime/runner/LoadedModule.h"
#include "platform/runtime/runner/RemoteComposition.h"
#include "platform/runtime/transport/Protocol.h"

using vuo::Composition;
using vuo::CompositionListener;

namespace {

std::string fileToDelete(const std::string& artefact, bool really) {
  return really ? artefact : std::string();
}

vuo::FileDescriptor opened(const std::string& artefact) {
  vuo::FileDescriptor file(open(artefact.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file) throw std::runtime_error(artefact + " can't be opened: " + std::strerror(errno));
  return file;
}

vuo::PublishedPorts publishedPortsOf(const vuo::Plan& plan) {
  vuo::PublishedPorts ports;
  for (const vuo::Port& port : plan.publishedInputs) ports.inputs.push_back({port.name, port.type});
  for (const vuo::Port& port : plan.publishedOutputs)
    ports.outputs.push_back({port.name, port.type});
  return ports;
}

/// The module is unloaded after its composition has been destroyed.
std::shared_ptr<Composition> compositionOfLibrary(const vuo::Plan& plan, vuo::FileDescriptor file,
                                                  const std::string& folder,
                                                  CompositionListener& listener) {
  const auto module = std::make_shared<vuo::LoadedModule>(std::move(file));
  return {module->entry()(plan, folder, listener),
          [module](Composition* composition) { delete composition; }};
}

}  // namespace

VuoRunner* VuoRunner::newSeparateProcessRunnerFromExecutable(std::string executablePath,
                                                             std::string sourceDirectory,
                                                             bool outliveHost,
                                                             bool deleteExecutable) {
  std::vector<std::string> arguments{sourceDirectory};
  if (outliveHost) arguments.push_back(vuo::outliveHostArgument);
  const auto ports = publishedPortsOf(vuo::planOfArtefact(opened(executablePath).get()));
  return new vuo::CompositionRunner(
      ports,
      [&](CompositionListener& listener) {
        return std::make_shared<vuo::RemoteComposition>(executablePath, arguments, ports, listener);
      },
      fileToDelete(executablePath, deleteExecutable));
}

VuoRunner* VuoRunner::newCurrentProcessRunnerFromDynamicLibrary(std::string dylibPath,
                                                                std::string sourceDirectory,
                                                                bool deleteDylib) {
  vuo::FileDescriptor file = opened(dylibPath);
  const vuo::Plan plan = vuo::planOfArtefact(file.get());
  return new vuo::CompositionRunner(
      publishedPortsOf(plan),
      [&](CompositionListener& listener) {
        return compositionOfLibrary(plan, std::move(file), sourceDirectory, listener);
      },
      fileToDelete(dylibPath, deleteDylib));
}
