#pragma once

#include <gst/gl/gl.h>

/// How the GL contexts of pipelines and that of the engine come into one share group.
///
/// The first pipeline decides: where its display is an EGL one, the engine's context is made to
/// share with the pipeline's. Later pipelines get contexts that share with the engine's. Where that
/// can't be (GLX, another display) pictures cross as pixels (PictureTransfer).
namespace pipeline_display {

/// A display for a pipeline to which nobody has given one, whose contexts can share textures: over
/// the engine's where the environment names no display and no way to one; otherwise that of the
/// first pipeline, once it has gone. Null where there is none. The caller owns it.
GstGLDisplay* thatShares();

/// Gives the display its context, before another element does, and the process its engine. Returns
/// the context, which the display does not keep alive, to be owned by the caller; null when the
/// display can have none. `application` is the context that the application shares, or null.
GstGLContext* join(GstGLDisplay* display, GstGLContext* application);

}  // namespace pipeline_display
