#pragma once

#include <chrono>
#include <deque>
#include <vector>

/// How long the latest frames took and how often they came.
class FrameHistory {
 public:
  using Clock = std::chrono::steady_clock;
  static constexpr std::size_t kLength = 120;

  void add(Clock::time_point shown, std::chrono::duration<double> took);
  void clear() { _frames.clear(); }
  /// Frames per second over the second before `now`; 0 when there was none.
  double rate(Clock::time_point now) const;
  /// Milliseconds, the latest frame last.
  std::vector<float> milliseconds() const;
  /// Over the frames that `rate` counts; 0 when there was none.
  double meanMilliseconds(Clock::time_point now) const;

 private:
  struct Frame {
    Clock::time_point shown;
    double milliseconds;
  };
  std::deque<Frame> _frames;  // the oldest first
};
