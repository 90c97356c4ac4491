#pragma once

#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "platform/runtime/graph/Composition.h"

namespace vuo {

/// What one event brings: the values that were set since the event before it, and the published
/// inputs that it enters at.
struct Event {
  std::map<std::size_t, Value> values;
  std::vector<std::size_t> inputs;
  EventNumber number = 0;
  bool asked = false;
};

/// The events that wait for a composition, in order. Any thread.
class EventQueue {
 public:
  /// What there is to do next: reports of events that are not run, then an event.
  struct Work {
    std::map<std::size_t, std::size_t> dropped;  ///< how often, by the input fired into
    std::vector<EventReport> notRun;             ///< those that were dropped, and the cancelled
    std::optional<Event> event;
  };

  void set(std::size_t input, Value value);
  /// Drops the event, but not the values, when too many are waiting.
  void fire(std::vector<std::size_t> inputs, EventNumber number, bool asked);
  /// Takes the event out if it still waits; the next one brings its values.
  void cancel(EventNumber number);
  /// Waits for something to do. Nothing once the queue has ended, whatever still waits.
  std::optional<Work> next();
  void end();

 private:
  std::mutex _lock;  ///< guards the fields below; no lock is taken inside it
  std::condition_variable _changed;
  std::map<std::size_t, Value> _values;  ///< for the next event
  std::deque<Event> _events;
  std::map<std::size_t, std::size_t> _dropped;
  std::vector<EventReport> _notRun;
  bool _ended = false;
};

}  // namespace vuo
