#pragma once

#include <chrono>
#include <future>
#include <memory>
#include <thread>

#include "platform/system/Mutex.h"
#include "runtime/graph/EventQueue.h"
#include "runtime/graph/Instance.h"
#include "runtime/graph/PictureSource.h"

namespace vuo {

class Execution;

/// Runs a plan in this process, on a thread of its own with its own GL context, which is made there
/// too. An event that does not end, or a GPU that hangs, holds the thread and whoever waits for it.
class CurrentProcessInstance : public Instance {
 public:
  /// `forHost`, which may be null, outlives the composition.
  CurrentProcessInstance(Plan plan, std::string folder, InstanceListener& listener,
                         PictureSource* forHost = nullptr);
  ~CurrentProcessInstance() override;

  void start() override;
  void setValue(std::size_t input, json_object* value) override;
  bool fire(std::vector<std::size_t> inputs, EventNumber number, bool asked) override;
  bool cancel(EventNumber number) override;
  bool giveUp(const std::string&) override { return false; }
  void stop() override;
  void waitUntilStopped() override;

  /// The same for a value that has the port's type.
  void setValue(std::size_t input, Value value);

  /// Whether the composition, which was started, has ended after at most that long.
  bool hasStoppedWithin(std::chrono::milliseconds patience);

 private:
  void live();
  void play();
  void serveEvents(Execution& execution);
  void tellOf(const std::exception& fault);
  void runEvent(Execution& execution, Event event);

  const Plan _plan;
  const std::string _folder;
  InstanceListener& _listener;
  PictureSource* const _forHost;
  EventQueue _queue;
  std::promise<void> _end;
  const std::shared_future<void> _ended{_end.get_future()};
  platform::Mutex _joinLock;  ///< held while starting and joining the thread; taken before no other
  std::thread _thread GUARDED_BY(_joinLock);
};

}  // namespace vuo
