#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "platform/system/Mutex.h"
#include "runtime/VuoRunner.h"
#include "runtime/runner/PendingEvent.h"

namespace vuo {

/// What a composition has still to do: to come up, and the events that were fired into it. Watches
/// that it gets on with it. Any thread.
class OpenEvents : public std::enable_shared_from_this<OpenEvents> {
 public:
  using Clock = std::chrono::steady_clock;
  /// Told how long the composition has been at one thing, once after each patience.
  using Overdue = std::function<void(Clock::duration waited)>;

  explicit OpenEvents(Overdue overdue) : _overdue(std::move(overdue)) {}

  /// From now on the composition is to come up.
  void starting() { open(theStart, nullptr); }
  void started() { finish(theStart); }

  /// An event that is about to be fired: known before it is, since it may be finished at once.
  EventNumber begin();
  std::shared_ptr<PendingEvent> begin(VuoRunner::EventTag tag);

  struct Finished {
    std::shared_ptr<PendingEvent> event;  ///< null when nobody gave it a tag
    bool wasOverdue = false;
  };
  Finished finish(EventNumber number);
  /// Nothing more will be finished: whoever waits for an event is told how the composition ended.
  void end(std::string how);

  std::optional<Clock::time_point> oldestTaggedSince() const;
  /// How long the composition may be at one thing; none: as long as it takes.
  void setPatience(VuoRunner::Patience patience);
  /// To be told of what was overdue: after `Overdue` has been told the last time.
  template <typename Call>
  void afterOverdue(Call call) {
    platform::LockGuard hold(_overdueLock);
    call();
  }
  /// Nobody is told of anything any more once this has returned. Must not be called by who is.
  void stopWatching();

 private:
  static constexpr EventNumber theStart = 0;
  struct Open {
    Clock::time_point since;
    std::shared_ptr<PendingEvent> event;
  };

  void open(EventNumber number, std::shared_ptr<PendingEvent> event);
  std::optional<Clock::time_point> nextLook() REQUIRES(_lock);
  void lookAt(std::optional<Clock::time_point> due);
  void look(Clock::time_point due);
  Clock::time_point atItSince() const REQUIRES(_lock);

  mutable platform::Mutex _lock;                        ///< no lock is taken inside it
  std::map<EventNumber, Open> _open GUARDED_BY(_lock);  ///< in the order of firing
  EventNumber _last GUARDED_BY(_lock) = theStart;
  Clock::time_point _lastFinish GUARDED_BY(_lock);
  VuoRunner::Patience _patience GUARDED_BY(_lock);
  unsigned _timesTold GUARDED_BY(_lock) = 0;  ///< of what the composition is at
  std::optional<Clock::time_point> _lookDue GUARDED_BY(_lock);
  bool _ended GUARDED_BY(_lock) = false;
  std::string _how GUARDED_BY(_lock);

  platform::Mutex _overdueLock ACQUIRED_BEFORE(_lock);  ///< held while somebody is told
  Overdue _overdue GUARDED_BY(_overdueLock);
};

}  // namespace vuo
