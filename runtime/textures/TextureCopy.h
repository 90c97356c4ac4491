#pragma once

#include <cstdint>

#include "runtime/RuntimeExport.h"
#include "runtime/VuoImage.h"

namespace vuo {

/// Copies the image's pixels on the GPU to a GL_TEXTURE_2D of its size. A context that knows both
/// is current. False when the image's texture can't be read. Does not wait for the GPU.
BRANNOW_RUNTIME bool copyPixels(VuoImage image, std::uint32_t toTexture);

}  // namespace vuo
