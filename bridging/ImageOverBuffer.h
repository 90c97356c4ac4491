// From a host buffer to a runtime image.
#pragma once

#include "Brannow/ZQBuffer.h"
#include "runtime/VuoImage.h"

/// The runtime image that the buffer wraps; else a new image over the buffer's own texture, as
/// large as its `srcRect`, which holds a reference to the buffer until it is freed. A new image has
/// no references yet. Null when the texture's target is neither GL_TEXTURE_2D nor
/// GL_TEXTURE_RECTANGLE or the runtime makes none; the buffer's count is then as it was.
VuoImage imageOverBuffer(ZQBuffer& buffer);
