#pragma once

#include <functional>

namespace vuo {

/// Ends what still runs when the process ends: a composition must not go on drawing on a thread of
/// its own while the GL driver is being put away. Registered for the object's life.
class RunningAtExit {
 public:
  /// `end` is called at most once, on the thread that ends the process.
  explicit RunningAtExit(std::function<void()> end);
  /// To be called after the first picture: by then the GL driver has made whatever it makes at its
  /// first use, and what was made before this call is still there when `end` is called.
  static void driverIsComplete();
  /// Waits for a call that is under way.
  ~RunningAtExit();
  RunningAtExit(const RunningAtExit&) = delete;
  RunningAtExit& operator=(const RunningAtExit&) = delete;

 private:
  struct Registry;
  static Registry& registry();
  static void endAll();
  const std::function<void()> _end;
};

}  // namespace vuo
