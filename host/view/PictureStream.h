// The pictures of one running composition, one after the other.
#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Brannow/VuoGLScene.h"

/// For one thread at a time; may wait for as long as a frame call does. Made anew for each load.
class PictureStream {
 public:
  using Clock = std::chrono::steady_clock;
  using OutputTexts = std::vector<std::pair<std::string, std::string>>;

  explicit PictureStream(std::shared_ptr<VuoGLScene> scene);

  struct Made {
    ZQBufferRef picture;  ///< null when there is none; the last one then still holds
    std::chrono::duration<double> took{};  ///< zero when it was not made for this frame
  };

  /// The picture that the composition made after it had been told the time and, for a filter, given
  /// `frame`.
  Made next(const ZQBufferRef& frame);
  /// So many events have been sent beside those of `next`. Their pictures are waited for first: a
  /// composition that is slower than the display would never catch up with them. Any thread.
  void owe(int events) { _owed += events; }
  /// The picture as it is, without telling the composition anything.
  ZQBufferRef still() { return _scene->allocABuffer(); }
  /// The names of the published outputs with their values as texts.
  OutputTexts outputs();

 private:
  bool pictureReported();
  bool awaitPicture(std::chrono::duration<double> longest);
  void settle();
  Made answer(const ZQBufferRef& frame);

  const std::shared_ptr<VuoGLScene> _scene;
  const std::shared_ptr<ZQVuoComposition> _composition;
  bool _answers = true;  // the last frame that was asked for came
  Clock::time_point _asked;
  std::atomic<int> _owed{1000};  // at first whatever the start has sent: until nothing comes
  std::chrono::duration<double> _lastTook{0.03};  // a guess, until a frame has been made
  /// Where a filter's picture follows the time, each of its frames brings two of them.
  int _framesWithoutSecond = 0;
};
