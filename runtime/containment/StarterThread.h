#pragma once

#include <functional>

namespace vuo {

/// A thread that lives as long as this process. The kernel ends a child "with its parent" when the
/// thread ends that started it, so every child has to be started here.
class StarterThread {
 public:
  /// Runs `work`, which throws nothing, on the thread and returns when it has been done. Throws
  /// std::runtime_error where there is no thread to be had.
  static void run(const std::function<void()>& work);
};

}  // namespace vuo
