#pragma once

#include <memory>

namespace platform {

/// How many tasks the queues with threads of their own still have to finish.
class OutstandingTasks {
 public:
  /// Counts as one while it exists.
  static std::shared_ptr<void> counted();
  static void waitForNone();
};

}  // namespace platform
