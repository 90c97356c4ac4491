// Waiting for a frame without going to sleep.
#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>

/// Where a frame is drawn in so little time, waking a thread that has gone to sleep takes a good
/// part of it again, so a frame call stays awake that long. When that was for nothing, because the
/// frame takes its time or the processor is busy, the next calls go to sleep at once. Any thread.
class StayAwake {
 public:
  using Clock = std::chrono::steady_clock;

  /// True when `isDone` says so within a moment, which ends at `deadline` at the latest. Other
  /// threads go first.
  template <class IsDone>
  bool until(Clock::time_point deadline, IsDone&& isDone) {
    if (_framesToSleepThrough > 0) {
      --_framesToSleepThrough;
      return false;
    }
    const auto end = std::min(deadline, Clock::now() + kSoon);
    for (; Clock::now() < end; std::this_thread::yield())
      if (isDone()) return true;
    _framesToSleepThrough = kFramesAfterOneForNothing;
    return false;
  }

 private:
  static constexpr std::chrono::microseconds kSoon{150};
  static constexpr int kFramesAfterOneForNothing = 256;

  std::atomic<int> _framesToSleepThrough{0};
};
