#include "platform/system/ConcurrentQueue.h"

#include <exception>
#include <utility>

#include "platform/system/DelayedTasks.h"
#include "platform/system/GuardedTask.h"
#include "platform/system/OutstandingTasks.h"

namespace platform {
namespace {

constexpr std::size_t kThreadsThatStay = 4;
constexpr std::chrono::milliseconds kUntilThereMayBeAThread{10};

}  // namespace

/// Never destroyed: tasks may still run while the process ends.
ConcurrentQueue& ConcurrentQueue::shared() {
  static auto& queue = *new std::shared_ptr<ConcurrentQueue>(std::make_shared<ConcurrentQueue>());
  return *queue;
}

void ConcurrentQueue::async(Task task) {
  UniqueLock hold(_lock);
  _waiting.push_back({std::move(task), OutstandingTasks::counted()});
  const bool mustTryAgain = !startThreads() && !std::exchange(_triesAgain, true);
  hold.unlock();
  _taskCame.notify_one();
  if (mustTryAgain) tryAgain();
}

void ConcurrentQueue::tryAgain() {
  DelayedTasks::shared().add(DelayedTasks::Clock::now() + kUntilThereMayBeAThread, [this] {
    {
      LockGuard hold(_lock);
      _triesAgain = !startThreads();
      if (!_triesAgain) return;
    }
    tryAgain();
  });
}

std::shared_ptr<void> ConcurrentQueue::pending() {
  return OutstandingTasks::counted();
}

/// False where the process can have no more threads: one that it has comes to the task, or one that
/// it can have later.
bool ConcurrentQueue::startThreads() try {
  while (_waiting.size() > _idle || _threads.size() < kThreadsThatStay) {
    std::list<std::thread> added(1);
    const auto thread = added.begin();
    *thread = std::thread(&ConcurrentQueue::serve, this, thread);
    _threads.splice(_threads.end(), added);
    ++_idle;
  }
  return true;
} catch (const std::exception&) {
  return false;
}

void ConcurrentQueue::serve(std::list<std::thread>::iterator thisThread) {
  UniqueLock hold(_lock);
  while (waitForTask(hold)) {
    Waiting next = std::move(_waiting.front());
    _waiting.pop_front();
    hold.unlock();
    runGuarded(next.task);
    next = {};  // what the task holds goes before it counts as done
    hold.lock();
    ++_idle;
  }
  std::thread before = std::exchange(_last, std::move(*thisThread));
  _threads.erase(thisThread);
  hold.unlock();
  _threadWent.notify_all();
  if (before.joinable()) before.join();
}

/// False when this thread is not needed any more. It counts as idle before and not afterwards.
bool ConcurrentQueue::waitForTask(UniqueLock& hold) {
  while (_waiting.empty() && _threads.size() <= kThreadsThatStay) _taskCame.wait(hold);
  --_idle;
  return !_waiting.empty();
}

void ConcurrentQueue::waitForSurplusThreads() {
  UniqueLock hold(_lock);
  while (_threads.size() > kThreadsThatStay) _threadWent.wait(hold);
  std::thread last = std::move(_last);
  hold.unlock();
  if (last.joinable()) last.join();
}

}  // namespace platform
