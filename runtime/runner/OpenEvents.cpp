#include "runtime/runner/OpenEvents.h"

#include <algorithm>

#include "platform/system/DelayedTasks.h"
#include "platform/system/Dispatch.h"
#include "platform/system/WithMemory.h"

namespace vuo {
namespace {

/// Looks that turn out to be needless are no more frequent, nor due much later, than this.
constexpr std::chrono::seconds longestRest{10};

/// What can still be reckoned with.
constexpr std::chrono::hours longestPatience{24 * 365};

}  // namespace

EventNumber OpenEvents::begin() {
  EventNumber number;
  {
    platform::LockGuard hold(_lock);
    number = ++_last;
  }
  open(number, nullptr);
  return number;
}

std::shared_ptr<PendingEvent> OpenEvents::begin(VuoRunner::EventTag tag) {
  std::shared_ptr<PendingEvent> event;
  {
    platform::LockGuard hold(_lock);
    event = std::make_shared<PendingEvent>(tag, ++_last);
  }
  open(event->number, event);
  return event;
}

void OpenEvents::open(EventNumber number, std::shared_ptr<PendingEvent> event) {
  platform::UniqueLock hold(_lock);
  if (_ended) {
    const std::string how = _how;
    hold.unlock();
    if (event) event->ended(how);
    return;
  }
  _open.emplace(number, Open{Clock::now(), std::move(event)});
  const auto due = _lookDue ? std::nullopt : nextLook();
  hold.unlock();
  try {
    lookAt(due);
  } catch (...) {
    finish(number);
    throw;
  }
}

/// Only what the composition is at is progress: events that it never saw may be finished before.
OpenEvents::Finished OpenEvents::finish(EventNumber number) {
  platform::LockGuard hold(_lock);
  const auto found = _open.find(number);
  if (found == _open.end()) return {};
  Finished finished{std::move(found->second.event), false};
  if (found == _open.begin()) {
    _lastFinish = Clock::now();
    finished.wasOverdue = std::exchange(_timesTold, 0) > 0;
  }
  _open.erase(found);
  return finished;
}

void OpenEvents::end(std::string how) {
  std::map<EventNumber, Open> open;
  {
    platform::LockGuard hold(_lock);
    if (_ended) return;
    _how = platform::orNothing([&] { return how; });
    _ended = true;
    open.swap(_open);
  }
  for (const auto& [number, item] : open)
    if (item.event) item.event->ended(platform::orNothing([&] { return how; }));
}

std::optional<OpenEvents::Clock::time_point> OpenEvents::oldestTaggedSince() const {
  platform::LockGuard hold(_lock);
  const auto found = std::find_if(_open.begin(), _open.end(),
                                  [](const auto& item) { return item.second.event != nullptr; });
  return found != _open.end() ? std::optional(found->second.since) : std::nullopt;
}

void OpenEvents::setPatience(VuoRunner::Patience patience) {
  platform::UniqueLock hold(_lock);
  _patience = patience;
  if (_patience)
    _patience = std::clamp<std::chrono::nanoseconds>(*_patience, std::chrono::milliseconds(1),
                                                     longestPatience);
  const auto due = nextLook();
  hold.unlock();
  lookAt(due);
}

void OpenEvents::stopWatching() {
  platform::LockGuard hold(_overdueLock);
  _overdue = nullptr;
}

/// There is something open. What waits behind other events is not what the composition is at.
OpenEvents::Clock::time_point OpenEvents::atItSince() const {
  return std::max(_open.begin()->second.since, _lastFinish);
}

/// Remembered as the one look that counts; none when there is nothing to look for.
std::optional<OpenEvents::Clock::time_point> OpenEvents::nextLook() {
  _lookDue = std::nullopt;
  if (_patience && !_open.empty())
    _lookDue = std::min(atItSince() + (_timesTold + 1) * *_patience, Clock::now() + longestRest);
  return _lookDue;
}

void OpenEvents::lookAt(std::optional<Clock::time_point> due) {
  if (!due) return;
  try {
    platform::DelayedTasks::shared().add(*due, [weak = weak_from_this(), due = *due] {
      platform::withMemory([&] {
        platform::globalConcurrentQueue().async([weak, due] {
          if (const auto events = weak.lock()) events->look(due);
        });
      });
    });
  } catch (...) {
    platform::LockGuard hold(_lock);
    if (_lookDue == due) _lookDue = std::nullopt;
    throw;
  }
}

void OpenEvents::look(Clock::time_point due) {
  platform::LockGuard holdCall(_overdueLock);
  std::optional<Clock::duration> waited;
  std::optional<Clock::time_point> next;
  {
    platform::LockGuard hold(_lock);
    if (_lookDue != due) return;
    const auto now = Clock::now();
    if (_patience && !_open.empty() && now >= atItSince() + (_timesTold + 1) * *_patience) {
      waited = now - atItSince();
      ++_timesTold;
    }
    next = nextLook();
  }
  lookAt(next);
  if (waited && _overdue) _overdue(*waited);
}

}  // namespace vuo
