#pragma once

#include <optional>
#include <string>

#include "Brannow/BrannowExport.h"

/// What a runner's reports do to a scene. Called on the runtime's threads, but for lost contact,
/// which is handled on the main queue.
class BRANNOW_API VuoGLSceneProtocol {
 public:
  virtual ~VuoGLSceneProtocol() = default;
  /// The published output of that name was updated with data.
  virtual void runnerDelegateReceivedValForOutputKey(const std::optional<std::string>& key) = 0;
  /// The published output of that name was reached by an event without data.
  virtual void runnerDelegateReceivedEventForOutputKey(const std::optional<std::string>& key) = 0;
  /// The running composition is gone.
  virtual void runnerDelegateLostContactWithComposition() = 0;
};
