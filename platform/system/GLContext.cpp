#include "Brannow/GLContext.h"

#include <epoxy/egl.h>

namespace brannow {
namespace {

constexpr EGLint kContextAttributes[] = {EGL_CONTEXT_MAJOR_VERSION,
                                         3,
                                         EGL_CONTEXT_MINOR_VERSION,
                                         3,
                                         EGL_CONTEXT_OPENGL_PROFILE_MASK,
                                         EGL_CONTEXT_OPENGL_CORE_PROFILE_BIT,
                                         EGL_NONE};

EGLDisplay surfacelessDisplay() {
  if (!epoxy_has_egl_extension(EGL_NO_DISPLAY, "EGL_MESA_platform_surfaceless")) return nullptr;
  return eglGetPlatformDisplayEXT(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
}

EGLDisplay deviceDisplay() {
  if (!epoxy_has_egl_extension(EGL_NO_DISPLAY, "EGL_EXT_platform_device") ||
      !epoxy_has_egl_extension(EGL_NO_DISPLAY, "EGL_EXT_device_enumeration")) {
    return nullptr;
  }
  EGLDeviceEXT device = nullptr;
  EGLint count = 0;
  if (!eglQueryDevicesEXT(1, &device, &count) || count == 0) return nullptr;
  return eglGetPlatformDisplayEXT(EGL_PLATFORM_DEVICE_EXT, device, nullptr);
}

EGLDisplay defaultDisplay() {
  return eglGetDisplay(EGL_DEFAULT_DISPLAY);
}

EGLConfig configOf(EGLDisplay display) {
  const EGLint attributes[] = {EGL_SURFACE_TYPE, EGL_PBUFFER_BIT, EGL_RENDERABLE_TYPE,
                               EGL_OPENGL_BIT, EGL_NONE};
  EGLConfig config = nullptr;
  EGLint count = 0;
  if (eglChooseConfig(display, attributes, &config, 1, &count) && count > 0) return config;
  return nullptr;  // EGL_NO_CONFIG_KHR
}

GLContextHandle createContext(EGLDisplay display, EGLConfig config, EGLContext shareWith) {
  if (!eglBindAPI(EGL_OPENGL_API)) return {};
  EGLContext context = eglCreateContext(display, config, shareWith, kContextAttributes);
  return {display, config, context};
}

GLContextHandle createRootOn(EGLDisplay display) {
  if (display == EGL_NO_DISPLAY || !eglInitialize(display, nullptr, nullptr)) return {};
  if (!epoxy_has_egl_extension(display, "EGL_KHR_surfaceless_context")) return {};
  return createContext(display, configOf(display), EGL_NO_CONTEXT);
}

/// The config that a context was made with; contexts without one give null.
EGLConfig configOfContext(EGLDisplay display, EGLContext context) {
  EGLint id = 0;
  if (!eglQueryContext(display, context, EGL_CONFIG_ID, &id) || id == 0) return nullptr;
  const EGLint attributes[] = {EGL_CONFIG_ID, id, EGL_NONE};
  EGLConfig config = nullptr;
  EGLint count = 0;
  return eglChooseConfig(display, attributes, &config, 1, &count) && count > 0 ? config : nullptr;
}

}  // namespace

std::shared_ptr<GLContext> GLContext::createRoot() {
  std::shared_ptr<GLContext> root(new GLContext({}, true));
  for (const auto display : {surfacelessDisplay, deviceDisplay, defaultDisplay}) {
    root->_handle = createRootOn(display());
    if (root->_handle) return root;
  }
  return nullptr;
}

std::shared_ptr<GLContext> GLContext::createSharedWith(GLContextHandle root) {
  if (!root) return nullptr;
  const EGLConfig config = root.config ? root.config : configOfContext(root.display, root.context);
  std::shared_ptr<GLContext> context(new GLContext({}, true));
  context->_handle = createContext(root.display, config, root.context);
  return context->_handle ? context : nullptr;
}

std::shared_ptr<GLContext> GLContext::wrap(GLContextHandle handle) {
  return handle ? std::shared_ptr<GLContext>(new GLContext(handle, false)) : nullptr;
}

std::shared_ptr<GLContext> GLContext::wrapCurrent() {
  const EGLContext context = eglGetCurrentContext();
  if (context == EGL_NO_CONTEXT) return nullptr;
  const EGLDisplay display = eglGetCurrentDisplay();
  return wrap({display, configOfContext(display, context), context});
}

GLContext::~GLContext() {
  if (_owned && _handle) eglDestroyContext(_handle.display, _handle.context);
}

GLCurrent::GLCurrent(const GLContext& context)
    : _previous{eglGetCurrentDisplay(), eglGetCurrentSurface(EGL_DRAW),
                eglGetCurrentSurface(EGL_READ), eglGetCurrentContext()},
      _display(context.handle().display) {
  const GLContextHandle handle = context.handle();
  if (_previous[3] == handle.context) {
    _succeeded = true;
    return;
  }
  eglBindAPI(EGL_OPENGL_API);
  _succeeded = eglMakeCurrent(handle.display, EGL_NO_SURFACE, EGL_NO_SURFACE, handle.context);
  _changed = _succeeded;
}

GLCurrent::~GLCurrent() {
  if (!_changed) return;
  if (_previous[3] == EGL_NO_CONTEXT) {
    eglMakeCurrent(_display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
  } else {
    eglMakeCurrent(_previous[0], _previous[1], _previous[2], _previous[3]);
  }
}

}  // namespace brannow
