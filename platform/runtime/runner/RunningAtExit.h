#pragma once

#include <functional>

namespace vuo {

/// Ends what still runs when the process ends: a composition must not go on drawing on a thread of
/// its own while the GL driver is being put away. Registered for the object's life.
class RunningAtExit {
 public:
  /// `end` is called at most once, on the thread that ends the process.
  explicit RunningAtExit(std::function<void()> end);
  /// Waits for a call that is under way.
  ~RunningAtExit();
  RunningAtExit(const RunningAtExit&) = delete;
  RunningAtExit& operator=(const RunningAtExit&) = delete;

 private:
  struct Registry;
  static Registry& registry();
  const std::function<void()> _end;
};

}  // namespace vuo
