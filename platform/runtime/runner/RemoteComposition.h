#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

#include "platform/runtime/graph/Composition.h"
#include "platform/runtime/process/ChildProcess.h"
#include "platform/runtime/runner/PlayerContact.h"

namespace vuo {

/// A composition that runs in a process of its own. One thread here takes in what it reports. A
/// player that takes no message for 50 ms is ended.
class RemoteComposition : public Composition {
 public:
  /// The ports are those of the artefact's plan.
  RemoteComposition(FileDescriptor artefact, std::vector<std::string> arguments,
                    PublishedPorts ports, CompositionListener& listener);
  ~RemoteComposition() override;

  PublishedPorts start() override;
  void setValue(std::size_t input, json_object* value) override;
  void fire(std::vector<std::size_t> inputs, EventNumber number, bool asked) override;
  void cancel(EventNumber number) override;
  void stop() override;
  void waitUntilStopped() override;

 private:
  void awaitReady();
  void sendImage(std::size_t input, json_object* value);
  void takeReports();

  const FileDescriptor _artefact;
  const std::vector<std::string> _arguments;
  const PublishedPorts _ports;
  CompositionListener& _listener;
  std::unique_ptr<PlayerContact> _contact;
  std::unique_ptr<ChildProcess> _process;
  std::atomic<bool> _stopping = false;
  std::atomic<bool> _gone = false;

  std::mutex _valuesLock;  ///< guards the field below, and keeps events in order; then _contact's
  std::map<std::size_t, Value> _values;  ///< for the next event

  std::mutex _endLock;  ///< held while waiting for the end; taken before no other lock
  std::thread _reader;
};

}  // namespace vuo
