#include "gstreamer/PipelineDisplay.h"

#include <gst/gl/egl/gstgldisplay_egl.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "Brannow/Engine.h"
#include "platform/system/Mutex.h"

namespace pipeline_display {
namespace {

platform::Mutex beginning;  // held while a display gets its context
bool isEngineBegun GUARDED_BY(beginning) = false;
// Whose share group the engine draws in, kept for ever, and the environment in which it was made.
GstGLDisplay* shared GUARDED_BY(beginning) = nullptr;
std::string sharedEnvironment GUARDED_BY(beginning);

bool isSet(const char* variable) {
  const char* value = std::getenv(variable);
  return value && *value;
}

bool hasWindows() {
  const char* window = std::getenv("GST_GL_WINDOW");
  if (window && *window) return std::string_view(window) != "surfaceless";
  return isSet("GST_GL_PLATFORM") || isSet("DISPLAY") || isSet("WAYLAND_DISPLAY");
}

std::string environment() {
  std::string all;
  for (const char* variable :
       {"DISPLAY", "WAYLAND_DISPLAY", "GST_GL_PLATFORM", "GST_GL_WINDOW", "GST_GL_API"}) {
    const char* value = std::getenv(variable);
    all += std::string(value ? value : "") + "\n";
  }
  return all;
}

/// Null where GStreamer would make another one, or while a pipeline has it, whose windows it
/// serves.
GstGLDisplay* sharedIfFree() {
  platform::LockGuard hold(beginning);
  const bool isFree = shared && GST_OBJECT_REFCOUNT_VALUE(shared) == 1;
  return isFree && sharedEnvironment == environment() ? GST_GL_DISPLAY(gst_object_ref(shared))
                                                      : nullptr;
}

GstGLContext* contextOf(GstGLDisplay* display) {
  GST_OBJECT_LOCK(display);
  GstGLContext* context = gst_gl_display_get_gl_context_for_thread(display, nullptr);
  GST_OBJECT_UNLOCK(display);
  return context;
}

bool isOn(GstGLDisplay* display, const brannow::GLContextHandle& handle) {
  GstGLDisplayEGL* egl = gst_gl_display_egl_from_gl_display(display);
  if (!egl) return false;
  const bool isSame =
      gst_gl_display_get_handle(GST_GL_DISPLAY(egl)) == reinterpret_cast<guintptr>(handle.display);
  gst_object_unref(egl);
  return isSame;
}

GstGLContext* newContext(GstGLDisplay* display, GstGLContext* sharedWith) {
  GstGLContext* context = nullptr;
  GError* problem = nullptr;
  gst_gl_display_create_context(display, sharedWith, &context, &problem);
  g_clear_error(&problem);
  if (!context) return nullptr;
  GST_OBJECT_LOCK(display);
  gst_gl_display_add_context(display, context);
  GST_OBJECT_UNLOCK(display);
  return context;
}

GstGLContext* newContextOfEngine(GstGLDisplay* display, const brannow::Engine& engine) {
  const auto handle = engine.context().handle();
  if (!isOn(display, handle)) return nullptr;
  GstGLContext* root = gst_gl_context_new_wrapped(
      display, reinterpret_cast<guintptr>(handle.context), GST_GL_PLATFORM_EGL, GST_GL_API_OPENGL3);
  GstGLContext* context = root ? newContext(display, root) : nullptr;
  if (root) gst_object_unref(root);
  return context;
}

/// On the context's own thread.
void shareWithCurrent(GstGLContext*, gpointer result) {
  const auto current = brannow::GLContext::wrapCurrent();
  if (current)
    *static_cast<std::shared_ptr<brannow::GLContext>*>(result) =
        brannow::GLContext::createSharedWith(current->handle());
}

/// The engine draws in the pipeline's share group, where that has OpenGL through EGL.
void beginEngine(GstGLDisplay* display, GstGLContext* context) REQUIRES(beginning) {
  std::shared_ptr<brannow::GLContext> root;
  const bool isDesktop =
      gst_gl_context_get_gl_api(context) & (GST_GL_API_OPENGL | GST_GL_API_OPENGL3);
  if (isDesktop && gst_gl_context_get_gl_platform(context) == GST_GL_PLATFORM_EGL)
    gst_gl_context_thread_add(context, shareWithCurrent, &root);
  if (root) {  // its display is needed for as long
    GST_OBJECT_FLAG_SET(display, GST_OBJECT_FLAG_MAY_BE_LEAKED);
    shared = GST_GL_DISPLAY(gst_object_ref(display));
    sharedEnvironment = environment();
  }
  isEngineBegun = brannow::Engine::shared(root) != nullptr;
}

}  // namespace

GstGLDisplay* thatShares() {
  if (hasWindows()) return sharedIfFree();
  platform::LockGuard hold(beginning);
  const brannow::Engine* engine = brannow::Engine::shared();
  if (!engine) return nullptr;
  isEngineBegun = true;
  return GST_GL_DISPLAY(
      gst_gl_display_egl_new_with_egl_display(engine->context().handle().display));
}

GstGLContext* join(GstGLDisplay* display, GstGLContext* application) {
  platform::LockGuard hold(beginning);
  GstGLContext* context = contextOf(display);
  if (!context && application) context = newContext(display, application);
  if (!context && isEngineBegun)
    if (const auto* engine = brannow::Engine::shared())
      context = newContextOfEngine(display, *engine);
  if (!context) context = newContext(display, nullptr);
  if (context && !isEngineBegun) beginEngine(display, context);
  return context;
}

}  // namespace pipeline_display
