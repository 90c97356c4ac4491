// Makes frames on a thread of its own.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "host/view/FilterInput.h"
#include "host/view/PictureStream.h"
#include "platform/system/Mutex.h"

/// One frame at a time, so that a composition that takes its time never holds up the window.
class FrameMaker {
 public:
  struct Job {
    std::shared_ptr<PictureStream> pictures;
    FilterInput::Source input;  ///< of a filter; none for a generator
    VuoFrameRequest request;    ///< time, size, and what the user has set since the last job
    bool wantsOutputs = false;
  };
  struct Frame {
    std::shared_ptr<PictureStream> pictures;  ///< whose frame it is
    PictureStream::Made made;                 ///< without an answer where a filter got no picture
    bool isFinal = true;  ///< false when the same job would give another picture by and by
    std::string problem;  ///< why there is no picture, as far as a node is to blame
    std::optional<PictureStream::OutputTexts> outputs;
    ZQBufferRef input;  ///< of a filter: what it was given
  };

  FrameMaker();
  /// Waits for the frame that is being made, which ends when its scene is unloaded.
  ~FrameMaker();
  FrameMaker(const FrameMaker&) = delete;
  FrameMaker& operator=(const FrameMaker&) = delete;

  /// Makes a frame, after the one that is being made and in place of one that waits for that. What
  /// a job has set goes into the next frame in any case.
  void ask(Job job);
  /// The frames that are done, the latest last. Forgets them.
  std::vector<Frame> popFrames();
  /// Whether `popFrames` would bring something by and by.
  bool isBusy() const;

 private:
  void work();
  Frame made(Job& job);
  void addWhatWasSet(Job& job);

  mutable platform::Mutex _lock;  // not held while a frame is made
  platform::ConditionVariable _changed;
  std::optional<Job> _job GUARDED_BY(_lock);
  bool _isMaking GUARDED_BY(_lock) = false;
  VuoFrameRequest _set GUARDED_BY(_lock);  // what no frame has been told yet …
  std::weak_ptr<PictureStream> _setForWhom GUARDED_BY(_lock);  // … of these pictures
  std::vector<Frame> _frames GUARDED_BY(_lock);
  bool _ends GUARDED_BY(_lock) = false;
  std::thread _thread;
};
