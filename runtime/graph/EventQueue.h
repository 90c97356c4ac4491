#pragma once

#include <optional>

#include "platform/system/Mutex.h"
#include "runtime/graph/EventBacklog.h"

namespace vuo {

using Event = EventOf<Value>;

/// The events that wait for a composition. Any thread.
class EventQueue {
 public:
  /// What there is to do next: drops to be told of, then an event.
  struct Work {
    EventBacklog<Value>::Drops drops;
    std::optional<Event> event;
  };

  void set(std::size_t input, Value value);
  bool fire(std::vector<std::size_t> inputs, EventNumber number, bool asked);
  bool cancel(EventNumber number);
  /// Waits for something to do. Nothing once the queue has ended, whatever still waits.
  std::optional<Work> next();
  void end();

 private:
  platform::Mutex _lock;  ///< no lock is taken inside it
  platform::ConditionVariable _changed;
  EventBacklog<Value> _backlog GUARDED_BY(_lock);
  bool _ended GUARDED_BY(_lock) = false;
};

}  // namespace vuo
