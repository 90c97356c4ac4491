#include "platform/runtime/graph/EventQueue.h"

#include <algorithm>

#include "platform/runtime/Limits.h"

namespace vuo {

void EventQueue::set(std::size_t input, Value value) {
  std::lock_guard hold(_lock);
  std::swap(_values[input], value);
}

void EventQueue::fire(std::vector<std::size_t> inputs, EventNumber number, bool asked) {
  {
    std::lock_guard hold(_lock);
    if (_events.size() < mostWaitingEvents) {
      _events.push_back({std::exchange(_values, {}), std::move(inputs), number, asked});
    } else {
      for (const std::size_t input : inputs) ++_dropped[input];
      _notRun.push_back({number, EventReport::Outcome::Dropped, {}});
    }
  }
  _changed.notify_one();
}

void EventQueue::cancel(EventNumber number) {
  std::map<std::size_t, Value> outdated;  // destroyed after the lock is released
  {
    std::lock_guard hold(_lock);
    const auto found = std::find_if(_events.begin(), _events.end(),
                                    [&](const Event& event) { return event.number == number; });
    if (number == 0 || found == _events.end()) return;
    outdated = std::move(found->values);
    const auto next = _events.erase(found);
    (next != _events.end() ? next->values : _values).merge(outdated);  // newer values stay
    _notRun.push_back({number, EventReport::Outcome::Cancelled, {}});
  }
  _changed.notify_one();
}

std::optional<EventQueue::Work> EventQueue::next() {
  std::unique_lock hold(_lock);
  _changed.wait(
      hold, [this] { return _ended || !_events.empty() || !_dropped.empty() || !_notRun.empty(); });
  if (_ended) return std::nullopt;
  Work work{std::exchange(_dropped, {}), std::exchange(_notRun, {}), std::nullopt};
  if (!_events.empty()) {
    work.event = std::move(_events.front());
    _events.pop_front();
  }
  return work;
}

void EventQueue::end() {
  {
    std::lock_guard hold(_lock);
    _ended = true;
  }
  _changed.notify_all();
}

}  // namespace vuo
