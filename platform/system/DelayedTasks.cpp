#include "platform/system/DelayedTasks.h"

#include <asio.hpp>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

namespace platform {

struct DelayedTasks::State {
  std::mutex lock;  // guards `waiting`; never held while a task runs
  std::multimap<Clock::time_point, std::function<void()>> waiting;
  asio::io_context context{1};
  asio::executor_work_guard<asio::io_context::executor_type> alive{context.get_executor()};
  asio::steady_timer timer{context};  // used on the timer thread only
};

DelayedTasks& DelayedTasks::shared() {
  static DelayedTasks& tasks = *new DelayedTasks;
  return tasks;
}

DelayedTasks::DelayedTasks() : _state(std::make_unique<State>()) {
  std::thread([this] { _state->context.run(); }).detach();
}

void DelayedTasks::add(Clock::time_point due, std::function<void()> task) {
  bool isNext;
  {
    std::lock_guard hold(_state->lock);
    const auto added = _state->waiting.emplace(due, std::move(task));
    isNext = added == _state->waiting.begin();
  }
  if (isNext) asio::post(_state->context, [this] { armTimer(); });
}

void DelayedTasks::armTimer() {
  {
    std::lock_guard hold(_state->lock);
    if (_state->waiting.empty()) return;
    _state->timer.expires_at(_state->waiting.begin()->first);
  }
  _state->timer.async_wait([this](const asio::error_code& error) {
    if (!error) runDue();
  });
}

void DelayedTasks::runDue() {
  for (;;) {
    std::function<void()> task;
    {
      std::lock_guard hold(_state->lock);
      auto& waiting = _state->waiting;
      if (waiting.empty() || waiting.begin()->first > Clock::now()) break;
      task = std::move(waiting.extract(waiting.begin()).mapped());
    }
    task();
  }
  armTimer();
}

}  // namespace platform
