// The pictures of one running composition, one after the other.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Brannow/VuoGLScene.h"

/// For one thread at a time. Made anew for each load.
class PictureStream {
 public:
  using Clock = std::chrono::steady_clock;
  using OutputTexts = std::vector<std::pair<std::string, std::string>>;

  explicit PictureStream(std::shared_ptr<VuoGLScene> scene);

  struct Made {
    VuoFrame frame;
    std::chrono::duration<double> took{};  ///< since it was asked for

    /// Why there is no picture, as far as the composition is to blame; empty otherwise.
    std::string problem() const;
  };

  /// Asks for a frame, unless the one before is still being drawn, and waits for the answer.
  Made next(const VuoFrameRequest& request, VuoGLScene::Patience longest);
  /// The names of the published outputs with their values in the frame as texts.
  OutputTexts outputs(const VuoFrame& frame) const;

 private:
  const std::shared_ptr<VuoGLScene> _scene;
  const std::shared_ptr<ZQVuoComposition> _composition;
  std::shared_ptr<VuoPendingFrame> _asked;  // null when nothing is on its way
  Clock::time_point _askedAt;
};
