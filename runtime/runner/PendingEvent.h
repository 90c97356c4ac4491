// Events whose end somebody waits for, and the outputs as such an event left them.
#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "platform/system/Mutex.h"
#include "runtime/VuoRunner.h"
#include "runtime/graph/Instance.h"

namespace vuo {

/// An output's value with what is known of it.
struct OutputState {
  Value value;
  VuoRunner::EventTag madeBy;
  std::string fault;
};

class OutputSnapshot final : public VuoRunner::Outputs {
 public:
  using Names = std::shared_ptr<const std::vector<std::string>>;

  OutputSnapshot(Names names, std::vector<OutputState> states)
      : _names(std::move(names)), _states(std::move(states)) {}

  json_object* value(const std::string& output) const override;
  VuoRunner::EventTag madeBy(const std::string& output) const override;
  std::string fault(const std::string& output) const override;

 private:
  const OutputState& stateOf(const std::string& output) const;

  const Names _names;
  const std::vector<OutputState> _states;  ///< by output
};

/// What the runner and whoever waits know of one event.
class PendingEvent {
 public:
  using State = VuoRunner::Event::State;

  PendingEvent(VuoRunner::EventTag eventTag, EventNumber itsNumber)
      : tag(eventTag), number(itsNumber) {}

  const VuoRunner::EventTag tag;
  const EventNumber number;
  std::atomic<bool> givenUp = false;

  State state() const { return _state; }
  State waitUntil(VuoRunner::Event::Deadline deadline);
  std::shared_ptr<const VuoRunner::Outputs> outputs() const;
  std::string endDescription() const;
  /// One of these is to be called, once; they wake whoever waits.
  void done(std::shared_ptr<const VuoRunner::Outputs> outputs);
  void dropped();
  void ended(std::string how);

 private:
  void finish(State state, std::shared_ptr<const VuoRunner::Outputs> outputs, std::string how);

  mutable platform::Mutex _lock;  ///< no lock is taken inside it
  platform::ConditionVariable _changed;
  std::atomic<State> _state = State::Waiting;  ///< changed with the lock held
  std::shared_ptr<const VuoRunner::Outputs> _outputs GUARDED_BY(_lock);
  std::string _endDescription GUARDED_BY(_lock);
};

class OpenEvents;

/// The way of an event that is given up to its composition, as long as there is one.
struct Cancelling {
  platform::Mutex lock;  ///< held while the composition is called
  Instance* instance GUARDED_BY(lock) PT_GUARDED_BY(lock);
  const std::shared_ptr<OpenEvents> events;
};

/// What a runner's caller holds.
class EventHandle final : public VuoRunner::Event {
 public:
  EventHandle(std::shared_ptr<PendingEvent> event, std::weak_ptr<Cancelling> cancelling)
      : _event(std::move(event)), _cancelling(std::move(cancelling)) {}
  ~EventHandle() override;

  State state() const override { return _event->state(); }
  State waitUntil(Deadline deadline) override { return _event->waitUntil(deadline); }
  std::shared_ptr<const VuoRunner::Outputs> outputs() const override { return _event->outputs(); }
  std::string endDescription() const override { return _event->endDescription(); }

 private:
  const std::shared_ptr<PendingEvent> _event;
  const std::weak_ptr<Cancelling> _cancelling;
};

}  // namespace vuo
