#pragma once

#include <functional>
#include <memory>

#include "platform/system/GLContext.h"
#include "platform/system/Mutex.h"
#include "runtime/RuntimeExport.h"

namespace vuo {

/// The GL contexts that name the same textures: the host's root context and the runtime's own.
/// Whoever holds a texture of the group holds the group.
class BRANNOW_RUNTIME ShareGroup {
 public:
  /// The group of the process's root context; of a root made for the purpose when no host has set
  /// one. Throws std::runtime_error where there is no OpenGL.
  static std::shared_ptr<ShareGroup> current();
  /// Groups made for the former root live on with what belongs to them.
  static void setRoot(platform::GLContextHandle root);

  platform::GLContextHandle root() const { return _root->handle(); }

  /// Throws std::runtime_error when the driver refuses.
  std::shared_ptr<platform::GLContext> createContext() const;

  /// Runs `work` on the calling thread with a context of the group current, and puts back the
  /// context that was current before. For work between frames; one caller at a time. False when
  /// there is no context to work with.
  bool withContext(const std::function<void()>& work) EXCLUDES(_lock);
  /// Makes the context for that now, so that later work needs no memory for it. Throws
  /// std::runtime_error or std::bad_alloc when there is none to be had.
  void prepareForWork();

  explicit ShareGroup(std::shared_ptr<platform::GLContext> root) : _root(std::move(root)) {}

 private:
  const std::shared_ptr<platform::GLContext> _root;
  platform::Mutex _lock;  ///< held during the work; no lock is taken inside it
  std::shared_ptr<platform::GLContext> _worker GUARDED_BY(_lock);
};

}  // namespace vuo
