#pragma once

#include "runtime/VuoImage.h"

namespace vuo {

/// Copies the image's pixels to memory: red, green, blue, alpha, 8 bits each, bottom row first,
/// rows without gaps. A context that knows the texture is current. False when it can't be read.
bool readPixels(VuoImage image, void* pixels);

}  // namespace vuo
