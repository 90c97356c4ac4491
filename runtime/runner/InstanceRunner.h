#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/system/Mutex.h"
#include "runtime/VuoRunner.h"
#include "runtime/VuoRunnerDelegate.h"
#include "runtime/graph/Instance.h"
#include "runtime/runner/OpenEvents.h"
#include "runtime/runner/RunningAtExit.h"
#include "runtime/runner/TextFile.h"

namespace vuo {

/// The runner of any composition, wherever it runs: keeps its published ports, the current values
/// of the outputs, and the delegate.
class InstanceRunner final : public VuoRunner, private InstanceListener {
 public:
  using MakeInstance = std::function<std::shared_ptr<Instance>(InstanceListener&)>;

  /// `published` are the ports of the composition that is made. `fileToDelete`, where not empty,
  /// goes with the runner.
  InstanceRunner(const PublishedPorts& published, const MakeInstance& makeInstance,
                 std::string fileToDelete);
  ~InstanceRunner() override;

  void setDelegate(VuoRunnerDelegate* delegate) override;
  void setWatcher(std::weak_ptr<Watcher> watcher) override;
  void setPatience(Patience patience) override;
  void start() override;
  void stop() override;
  void waitUntilStopped() override;
  Port* getPublishedInputPortWithName(std::string name) override;
  Port* getPublishedOutputPortWithName(std::string name) override;
  void setPublishedInputPortValue(Port* port, json_object* value) override;
  void firePublishedInputPortEvent(Port* port) override;
  void firePublishedInputPortEvent() override;
  std::shared_ptr<Event> firePublishedInputPortEvent(EventTag tag) override;
  std::optional<std::chrono::steady_clock::time_point> oldestEventSince() const override;
  std::shared_ptr<const Outputs> getPublishedOutputs() const override;
  std::string lossDescription() const override;
  json_object* getPublishedOutputPortValue(Port* port) override;

 private:
  using Ports = std::vector<std::unique_ptr<Port>>;
  enum class State { NotStarted, Running, Ended };

  void started() override;
  void eventFinished(EventReport& report) override;
  void eventDropped(std::size_t input) override;
  void failed(const std::string& message) override;
  void warned(const std::string& message) override;
  void contactLost(const std::string& how) override;

  std::optional<std::string> faultOfStart();
  void requireRunning() const;
  static Port* portNamed(const Ports& ports, const std::string& name);
  static std::size_t indexOf(const Ports& ports, const Port* wanted);
  std::vector<std::size_t> allInputs() const;
  void fire(std::vector<std::size_t> inputs);
  void takeText(std::vector<std::size_t>& inputs);
  void drop(EventNumber number);
  void keepValues(EventReport& report, EventTag tag) EXCLUDES(_valuesLock);
  std::shared_ptr<const Outputs> snapshot() const;
  void isOverdue(OpenEvents::Clock::duration waited);
  template <typename Call>
  void tellWatcher(Call call);
  template <typename Call>
  void tellDelegate(Call call) EXCLUDES(_delegateLock, _valuesLock);

  const std::string _fileToDelete;
  const Ports _inputs, _outputs;
  const std::size_t _textInput;               ///< of the text file
  const std::unique_ptr<TextFile> _textFile;  ///< null where no input stands for one
  std::atomic<std::size_t> _warnings = 0;     ///< that were told
  std::atomic<State> _state = State::NotStarted;
  platform::Mutex _lifeLock;  ///< held while starting and stopping, with no other of the runner's

  mutable platform::Mutex _valuesLock;                        ///< no lock is taken inside it
  std::vector<OutputState> _current GUARDED_BY(_valuesLock);  ///< by output
  std::string _loss GUARDED_BY(_valuesLock);
  const std::shared_ptr<const std::vector<std::string>> _outputNames;

  const std::shared_ptr<OpenEvents> _events;
  std::weak_ptr<Watcher> _watcher;  ///< from `start` on

  /// Held while the delegate is called, which may call the runner: the composition's come after it.
  platform::Mutex _delegateLock ACQUIRED_BEFORE(_valuesLock);
  VuoRunnerDelegate* _delegate GUARDED_BY(_delegateLock) PT_GUARDED_BY(_delegateLock) = nullptr;

  bool _hasReported = false;  ///< of the thread that reports

  std::shared_ptr<Instance> _instance;      ///< uses what stands above
  std::shared_ptr<Cancelling> _cancelling;  ///< lets events that are given up reach it
  std::optional<RunningAtExit> _atExit;     ///< comes last and goes first, with no lock held
};

}  // namespace vuo
