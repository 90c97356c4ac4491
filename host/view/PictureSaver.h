#pragma once

#include <deque>
#include <string>
#include <thread>
#include <vector>

#include "Brannow/ZQBufferPool.h"
#include "platform/system/Mutex.h"

/// Writes pictures to PNG files on a thread of its own: reading one from the GPU and packing it
/// take several frames' time.
class PictureSaver {
 public:
  /// What has become of a picture.
  struct Result {
    std::string file;     ///< that was written
    std::string problem;  ///< why none was; else empty
  };

  explicit PictureSaver(ZQBufferPool& pool);
  /// Writes what still waits.
  ~PictureSaver();
  PictureSaver(const PictureSaver&) = delete;
  PictureSaver& operator=(const PictureSaver&) = delete;

  /// Saves the picture under a free name of the composition. False while too many others wait,
  /// since a picture that waits keeps its texture from being drawn in again.
  bool save(ZQBufferRef picture, const std::string& compositionFile);
  /// What is done, in order. Forgets it.
  std::vector<Result> popResults();
  /// Waits for everything, with no more to come, and returns the rest of the results.
  std::vector<Result> finish();

 private:
  struct Job {
    ZQBufferRef picture;
    std::string compositionFile;
  };
  void work();
  Result saved(const Job& job);

  ZQBufferPool& _pool;
  platform::Mutex _lock;  // not held while a picture is written
  platform::ConditionVariable _changed;
  std::deque<Job> _jobs GUARDED_BY(_lock);
  std::vector<Result> _results GUARDED_BY(_lock);
  bool _ends GUARDED_BY(_lock) = false;
  std::thread _thread;
};
