#include "host/view/FrameHistory.h"

#include <algorithm>

namespace {

constexpr std::chrono::seconds kSpan{1};

}  // namespace

void FrameHistory::add(Clock::time_point shown, std::chrono::duration<double> took) {
  _frames.push_back({shown, took.count() * 1000});
  // A fast display shows more frames in the span than the plot has room for.
  while (_frames.size() > kLength && shown - _frames.front().shown > kSpan) _frames.pop_front();
}

double FrameHistory::rate(Clock::time_point now) const {
  int intervals = -1;
  Clock::time_point first = now;
  for (const Frame& frame : _frames) {
    if (now - frame.shown > kSpan) continue;
    if (intervals++ < 0) first = frame.shown;
  }
  if (intervals < 0) return 0;
  const double seconds = std::chrono::duration<double>(_frames.back().shown - first).count();
  return intervals == 0 || seconds <= 0 ? 1 : intervals / seconds;
}

double FrameHistory::meanMilliseconds(Clock::time_point now) const {
  double sum = 0;
  int count = 0;
  for (const Frame& frame : _frames) {
    if (now - frame.shown > kSpan) continue;
    sum += frame.milliseconds;
    ++count;
  }
  return count == 0 ? 0 : sum / count;
}

std::vector<float> FrameHistory::milliseconds() const {
  const std::size_t count = std::min(_frames.size(), kLength);
  std::vector<float> list;
  list.reserve(count);
  for (auto frame = _frames.end() - static_cast<std::ptrdiff_t>(count); frame != _frames.end();
       ++frame)
    list.push_back(static_cast<float>(frame->milliseconds));
  return list;
}
