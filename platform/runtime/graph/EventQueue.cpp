#include "platform/runtime/graph/EventQueue.h"

namespace vuo {
namespace {

/// A composition this many events behind its host does not catch up with what it shows.
constexpr std::size_t mostWaitingEvents = 256;

}  // namespace

void EventQueue::set(std::size_t input, Value value) {
  std::lock_guard hold(_lock);
  std::swap(_values[input], value);
}

void EventQueue::fire(std::vector<std::size_t> inputs) {
  {
    std::lock_guard hold(_lock);
    if (_events.size() < mostWaitingEvents)
      _events.push_back({std::exchange(_values, {}), std::move(inputs)});
    else
      for (const std::size_t input : inputs) ++_dropped[input];
  }
  _changed.notify_one();
}

std::optional<EventQueue::Work> EventQueue::next() {
  std::unique_lock hold(_lock);
  _changed.wait(hold, [this] { return _ended || !_events.empty() || !_dropped.empty(); });
  if (_ended) return std::nullopt;
  Work work{std::exchange(_dropped, {}), std::nullopt};
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
