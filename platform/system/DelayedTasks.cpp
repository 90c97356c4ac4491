#include "platform/system/DelayedTasks.h"

#include <exception>
#include <thread>
#include <utility>

#include "platform/system/Dispatch.h"
#include "platform/system/GuardedTask.h"

namespace platform {
namespace {

/// That a thread can be had again is told by nobody.
constexpr std::chrono::milliseconds kUntilNextTry{1};

}  // namespace

DelayedTasks& DelayedTasks::shared() {
  static DelayedTasks& tasks = *new DelayedTasks;
  return tasks;
}

void DelayedTasks::add(Clock::time_point due, std::function<void()> task) {
  UniqueLock hold(_lock);
  const auto added = _waiting.emplace(due, std::move(task));
  const bool isNext = added == _waiting.begin();
  const bool mustTryAgain = !hasThread() && !std::exchange(_triesAgain, true);
  hold.unlock();
  if (isNext) _changed.notify_one();
  if (mustTryAgain) MainQueue::shared().async([this] { tryAgain(); });
}

bool DelayedTasks::hasThread() {
  if (!_hasThread) try {
      std::thread([this] { serve(); }).detach();
      _hasThread = true;
    } catch (const std::exception&) {
      // It is tried again.
    }
  return _hasThread;
}

void DelayedTasks::tryAgain() {
  {
    LockGuard hold(_lock);
    _triesAgain = !hasThread();
    if (!_triesAgain) return;
  }
  std::this_thread::sleep_for(kUntilNextTry);
  MainQueue::shared().async([this] { tryAgain(); });
}

void DelayedTasks::waitForThread() {
  for (UniqueLock hold(_lock); !_waiting.empty() && !hasThread(); hold.lock()) {
    hold.unlock();
    std::this_thread::sleep_for(kUntilNextTry);
  }
}

void DelayedTasks::serve() {
  for (UniqueLock hold(_lock);;) {
    if (_waiting.empty()) {
      _changed.wait(hold);
    } else if (const auto due = _waiting.begin()->first; due > Clock::now()) {
      _changed.wait_until(hold, due);
    } else {
      auto next = _waiting.extract(_waiting.begin());
      hold.unlock();
      runGuarded(next.mapped());
      next = {};  // what the task holds goes without the lock
      hold.lock();
    }
  }
}

}  // namespace platform
