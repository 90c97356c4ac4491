// The time of what is shown.
#pragma once

#include <chrono>

/// In seconds. Goes on by the clock on the wall, unless it is paused.
class ShowClock {
 public:
  explicit ShowClock(double start, bool isPaused) : _start(start), _isPaused(isPaused) {
    restart();
  }

  double now() const { return _isPaused ? _time : _time + sinceThen(); }
  /// What it restarts at.
  double start() const { return _start; }
  bool isPaused() const { return _isPaused; }

  void setPaused(bool isPaused) { set(now(), isPaused); }
  /// Pauses, that far from now.
  void step(double seconds) { set(now() + seconds, true); }
  void restart() { set(_start, _isPaused); }

 private:
  using Clock = std::chrono::steady_clock;

  void set(double time, bool isPaused) {
    _time = time;
    _then = Clock::now();
    _isPaused = isPaused;
  }
  double sinceThen() const { return std::chrono::duration<double>(Clock::now() - _then).count(); }

  const double _start;
  double _time = 0;  // at `_then`
  Clock::time_point _then;
  bool _isPaused;
};
