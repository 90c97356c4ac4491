#pragma once

#include <atomic>

/// The base of the host's GL objects: it can be told that it is about to go.
class GLScene {
 public:
  virtual ~GLScene() = default;
  /// True once `prepareToBeDeleted` has been called. Any thread.
  bool deleted() const { return _deleted.load(std::memory_order_acquire); }
  virtual void prepareToBeDeleted() { _deleted.store(true, std::memory_order_release); }

 private:
  std::atomic<bool> _deleted{false};
};
