// OpenGL contexts (desktop OpenGL 3.3 core through EGL).
#pragma once

#include <memory>

#include "Brannow/BrannowExport.h"

namespace brannow {

/// What identifies a context to another library: the EGL display, config and context as opaque
/// pointers. Borrowed; whoever made the context keeps it alive.
struct GLContextHandle {
  void* display = nullptr;
  void* config = nullptr;
  void* context = nullptr;
  explicit operator bool() const { return context != nullptr; }
  bool operator==(const GLContextHandle&) const = default;
};

/// A context that needs no window. One context may be current on one thread at a time.
class BRANNOW_API GLContext {
 public:
  /// A new context with a share group of its own, on a surfaceless display. Null when this machine
  /// offers no OpenGL 3.3 core.
  static std::shared_ptr<GLContext> createRoot();
  /// A new context in `root`'s share group, so that both name the same textures. Null on failure.
  static std::shared_ptr<GLContext> createSharedWith(GLContextHandle root);
  /// The host's own context, lent: it is not destroyed with the returned object.
  static std::shared_ptr<GLContext> wrap(GLContextHandle handle);
  /// The EGL context that is current on the calling thread, lent; null when there is none.
  static std::shared_ptr<GLContext> wrapCurrent();

  ~GLContext();
  GLContext(const GLContext&) = delete;
  GLContext& operator=(const GLContext&) = delete;

  GLContextHandle handle() const { return _handle; }

 private:
  GLContext(GLContextHandle handle, bool owned) : _handle(handle), _owned(owned) {}
  GLContextHandle _handle;
  bool _owned;
};

/// Makes a context current on this thread for a scope and puts back what was current before.
/// The caller sees to it that no other thread has the context current.
class BRANNOW_API GLCurrent {
 public:
  explicit GLCurrent(const GLContext& context);
  ~GLCurrent();
  GLCurrent(const GLCurrent&) = delete;
  GLCurrent& operator=(const GLCurrent&) = delete;
  /// False when the context could not be made current; GL must not be called then.
  explicit operator bool() const { return _succeeded; }

 private:
  void* _previous[4];
  bool _changed = false;
  bool _succeeded = false;
  void* _display;
};

}  // namespace brannow
