// What the window shows, as a video.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <string>
#include <thread>

#include "Brannow/ZQBufferPool.h"
#include "host/FrameRate.h"
#include "host/view/Y4mFile.h"
#include "platform/system/Mutex.h"

/// Each frame is the picture that was shown at the frame's time. All but that choice is done on a
/// thread of its own; where that does not keep up, a frame is that of an earlier picture. Frames
/// have the first picture's size, into which others are fitted with black beside them.
class Recording {
 public:
  using Clock = std::chrono::steady_clock;

  /// Begins with that picture.
  Recording(ZQBufferPool& pool, Y4mFile file, FrameRate rate, ZQBufferRef picture,
            Clock::time_point now);
  /// Writes what still waits.
  ~Recording();
  Recording(const Recording&) = delete;
  Recording& operator=(const Recording&) = delete;

  /// From now on this picture is shown. To be called often, for the same picture as well.
  void show(ZQBufferRef picture, Clock::time_point now);
  /// There are no more pictures; what waits is still to be written.
  void stop(Clock::time_point now);
  /// Waits for that.
  void finish();
  /// Everything is written, after `stop` or because it went no further.
  bool isDone() const { return _isDone; }
  bool isStopped() const { return _isStopped; }

  const std::string& path() const { return _path; }
  /// The length, as far as it has come.
  double seconds() const;
  std::int64_t writtenFrames() const { return _written; }
  /// The frames that are of an earlier picture than they should be.
  std::int64_t lost() const;
  /// A picture was transparent in places, which the video can't hold.
  bool hadAlpha() const { return _hadAlpha; }
  /// Why it went no further; empty otherwise.
  std::string problem() const;

 private:
  struct Job {
    ZQBufferRef picture;
    std::int64_t frames;
    Clock::time_point since;
  };
  void finishSoon();
  void addFramesUntil(Clock::time_point now);
  void add(std::int64_t frames, Clock::time_point now);
  void work();
  void write();
  bool pop(Job& job);
  void giveUp(const std::string& problem) REQUIRES(_lock);

  ZQBufferPool& _pool;
  Y4mFile _file;  // of the thread, once that runs
  const std::string _path;
  const FrameRate _rate;
  const ZQSize _size;
  const Clock::time_point _begin;
  ZQBufferRef _shown;
  std::int64_t _frames = 0;  // that were due
  bool _isStopped = false;

  mutable platform::Mutex _lock;  // not held while a frame is made or written
  platform::ConditionVariable _changed;
  std::deque<Job> _jobs GUARDED_BY(_lock);
  std::int64_t _lost GUARDED_BY(_lock) = 0;
  bool _ends GUARDED_BY(_lock) = false;
  std::string _problem GUARDED_BY(_lock);
  std::atomic<std::int64_t> _written = 0;
  std::atomic<bool> _hadAlpha = false;
  std::atomic<bool> _isDone = false;
  std::thread _thread;
};
