// Makes frames on a thread of its own.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include "host/view/PictureStream.h"

/// One frame at a time, so that a composition that takes its time never holds up the window.
class FrameMaker {
 public:
  struct Job {
    std::shared_ptr<PictureStream> pictures;
    /// Gives a filter its next frame; called on the maker's thread. None for a generator.
    std::function<ZQBufferRef()> input;
    bool paused = false;  ///< only look at the picture as it is
    bool wantsOutputs = false;
  };
  struct Frame {
    std::shared_ptr<PictureStream> pictures;  ///< whose frame it is
    ZQBufferRef picture;                      ///< null: as before
    std::chrono::duration<double> took{};     ///< zero for a picture that was not asked for
    std::optional<PictureStream::OutputTexts> outputs;
  };

  FrameMaker();
  /// Waits for the frame that is being made.
  ~FrameMaker();
  FrameMaker(const FrameMaker&) = delete;
  FrameMaker& operator=(const FrameMaker&) = delete;

  /// Makes a frame, after the one that is being made and in place of one that waits for that.
  void ask(Job job);
  /// The frames that are done, the latest last. Forgets them.
  std::vector<Frame> take();

 private:
  void work();
  static Frame made(const Job& job);

  std::mutex _lock;  // guards the fields below; not held while a frame is made
  std::condition_variable _changed;
  std::optional<Job> _job;
  std::vector<Frame> _frames;
  bool _ends = false;
  std::thread _thread;
};
