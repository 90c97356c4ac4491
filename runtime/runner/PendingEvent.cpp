#include "runtime/runner/PendingEvent.h"

#include <algorithm>
#include <stdexcept>

#include "runtime/runner/OpenEvents.h"

namespace vuo {

json_object* OutputSnapshot::value(const std::string& output) const {
  return jsonFromValue(stateOf(output).value).release();
}

VuoRunner::EventTag OutputSnapshot::madeBy(const std::string& output) const {
  return stateOf(output).madeBy;
}

std::string OutputSnapshot::fault(const std::string& output) const {
  return stateOf(output).fault;
}

const OutputState& OutputSnapshot::stateOf(const std::string& output) const {
  static const OutputState none;
  const auto found = std::find(_names->begin(), _names->end(), output);
  return found != _names->end() ? _states[static_cast<std::size_t>(found - _names->begin())] : none;
}

PendingEvent::State PendingEvent::waitUntil(VuoRunner::Event::Deadline deadline) {
  platform::UniqueLock hold(_lock);
  bool isInTime = true;
  while (_state == State::Waiting && isInTime) {
    if (deadline)
      isInTime = _changed.wait_until(hold, *deadline);
    else
      _changed.wait(hold);
  }
  return _state;
}

std::shared_ptr<const VuoRunner::Outputs> PendingEvent::outputs() const {
  platform::LockGuard hold(_lock);
  return _outputs;
}

std::string PendingEvent::endDescription() const {
  platform::LockGuard hold(_lock);
  return _endDescription;
}

void PendingEvent::done(std::shared_ptr<const VuoRunner::Outputs> outputs) {
  finish(State::Done, std::move(outputs), "");
}

void PendingEvent::dropped() {
  finish(State::Dropped, nullptr, "");
}

void PendingEvent::ended(std::string how) {
  finish(State::Ended, nullptr, std::move(how));
}

void PendingEvent::finish(State state, std::shared_ptr<const VuoRunner::Outputs> outputs,
                          std::string how) {
  {
    platform::LockGuard hold(_lock);
    _outputs = std::move(outputs);
    _endDescription = std::move(how);
    _state = state;
  }
  _changed.notify_all();
}

EventHandle::~EventHandle() {
  _event->givenUp = true;
  if (_event->state() != State::Waiting) return;
  const auto cancelling = _cancelling.lock();
  if (!cancelling) return;
  platform::LockGuard hold(cancelling->lock);
  try {
    if (cancelling->instance != nullptr && cancelling->instance->cancel(_event->number))
      cancelling->events->finish(_event->number);
  } catch (const std::exception&) {
    // The composition is gone: there is nothing left to cancel.
  }
}

}  // namespace vuo
