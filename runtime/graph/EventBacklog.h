#pragma once

#include <algorithm>
#include <deque>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "runtime/Limits.h"
#include "runtime/graph/Instance.h"

namespace vuo {

/// What one event brings: the values that were set since the event before it, and the published
/// inputs that it enters at.
template <class Kept>
struct EventOf {
  std::map<std::size_t, Kept> values;
  std::vector<std::size_t> inputs;
  EventNumber number = 0;
  bool asked = false;
};

/// Events that nobody has taken yet, in order. Not locked.
template <class Kept>
class EventBacklog {
 public:
  using Event = EventOf<Kept>;
  using Values = std::map<std::size_t, Kept>;
  /// How often an event was dropped, by the input fired into.
  using Drops = std::map<std::size_t, std::size_t>;

  /// Swaps the former value out.
  void set(std::size_t input, Kept& value) { std::swap(_values[input], value); }

  /// False when too many are waiting: the event is dropped, but not the values.
  bool fire(std::vector<std::size_t> inputs, EventNumber number, bool asked) {
    if (_events.size() < mostWaitingEvents) {
      _events.push_back({std::exchange(_values, {}), std::move(inputs), number, asked});
      return true;
    }
    for (const std::size_t input : inputs) ++_drops[input];
    return false;
  }

  /// Takes the event out if it still waits; the next one brings its values. Returns those that are
  /// outdated, to be destroyed without a lock; none when the event does not wait.
  std::optional<Values> cancel(EventNumber number) {
    const auto found = std::find_if(_events.begin(), _events.end(),
                                    [&](const Event& event) { return event.number == number; });
    if (found == _events.end()) return std::nullopt;
    Values outdated = std::move(found->values);
    const auto next = _events.erase(found);
    (next != _events.end() ? next->values : _values).merge(outdated);  // newer values stay
    return outdated;
  }

  bool hasEvents() const { return !_events.empty(); }
  /// The one that comes next; there is one.
  const Event& next() const { return _events.front(); }
  Event pop() {
    Event event = std::move(_events.front());
    _events.pop_front();
    return event;
  }
  bool hasDrops() const { return !_drops.empty(); }
  Drops popDrops() { return std::exchange(_drops, {}); }

 private:
  Values _values;  ///< for the next event
  std::deque<Event> _events;
  Drops _drops;
};

}  // namespace vuo
