#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

#include "platform/runtime/graph/Composition.h"
#include "platform/runtime/process/ChildProcess.h"
#include "platform/runtime/transport/FrameTransport.h"

namespace vuo {

/// A composition that runs in a process of its own. One thread here takes in what it reports. A
/// player that takes no message for 50 ms is ended.
class RemoteComposition : public Composition {
 public:
  RemoteComposition(FileDescriptor artefact, std::vector<std::string> arguments,
                    CompositionListener& listener);
  ~RemoteComposition() override;

  PublishedPorts start() override;
  void setValue(std::size_t input, json_object* value) override;
  void fire(std::vector<std::size_t> inputs, EventNumber number) override;
  void cancel(EventNumber number) override;
  void stop() override;
  void waitUntilStopped() override;

 private:
  PublishedPorts awaitReady();
  void send(json_object* message, int descriptor);
  void sendImage(std::size_t input, json_object* value);
  void takeReports();
  void take(Message message, FrameReceiver& frames);
  EventReport reportIn(json_object* message, FrameReceiver& frames) const;
  OutputReport outputReportIn(json_object* body, FrameReceiver& frames) const;

  const FileDescriptor _artefact;
  const std::vector<std::string> _arguments;
  CompositionListener& _listener;
  PublishedPorts _ports;
  std::unique_ptr<MessageSocket> _socket;
  std::unique_ptr<ChildProcess> _process;
  std::atomic<bool> _stopping = false;
  std::atomic<bool> _gone = false;

  std::mutex _valuesLock;  ///< guards the field below, and keeps events in order; then _socket's
  std::map<std::size_t, Value> _values;  ///< for the next event

  std::mutex _endLock;  ///< held while waiting for the end; taken before no other lock
  std::thread _reader;
};

}  // namespace vuo
