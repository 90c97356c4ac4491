#pragma once

#include <gst/gl/gl.h>

/// How the GL contexts of pipelines and that of the engine come into one share group.
///
/// The first pipeline decides: where its display is an EGL one, the engine's context is made to
/// share with the pipeline's. Later pipelines get contexts that share with the engine's. Where that
/// can't be (GLX, another display) pictures cross as pixels (PictureTransfer).
namespace pipeline_display {

/// A display for pipelines on a machine that has none, over the engine's; null where the
/// environment names a display or a way to one, or there is no OpenGL. The caller owns it.
GstGLDisplay* withoutWindows();

/// Gives the display its context, before another element does, and the process its engine. Returns
/// the context, which the display does not keep alive, to be owned by the caller; null when the
/// display can have none. `application` is the context that the application shares, or null.
GstGLContext* join(GstGLDisplay* display, GstGLContext* application);

}  // namespace pipeline_display
