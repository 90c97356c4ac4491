#include "runtime/graph/EventQueue.h"

namespace vuo {

void EventQueue::set(std::size_t input, Value value) {
  platform::LockGuard hold(_lock);
  _backlog.set(input, value);
}

bool EventQueue::fire(std::vector<std::size_t> inputs, EventNumber number, bool asked) {
  bool waits;
  {
    platform::LockGuard hold(_lock);
    waits = _backlog.fire(std::move(inputs), number, asked);
  }
  _changed.notify_one();
  return waits;
}

bool EventQueue::cancel(EventNumber number) {
  std::optional<EventBacklog<Value>::Values> outdated;  // destroyed after the lock is released
  platform::LockGuard hold(_lock);
  outdated = _backlog.cancel(number);
  return outdated.has_value();
}

std::optional<EventQueue::Work> EventQueue::next() {
  platform::UniqueLock hold(_lock);
  while (!_ended && !_backlog.hasEvents() && !_backlog.hasDrops()) _changed.wait(hold);
  if (_ended) return std::nullopt;
  Work work{_backlog.popDrops(), std::nullopt};
  if (_backlog.hasEvents()) work.event = _backlog.pop();
  return work;
}

void EventQueue::end() {
  {
    platform::LockGuard hold(_lock);
    _ended = true;
  }
  _changed.notify_all();
}

}  // namespace vuo
