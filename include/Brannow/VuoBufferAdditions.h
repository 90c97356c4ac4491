// The two callbacks that tie the life of a host buffer to that of a runtime image.
#pragma once

#include "Brannow/BrannowExport.h"
#include "Brannow/ZQBuffer.h"

/// The runtime's image: a GL texture with its size, counted by its holders.
struct VuoImageRecord;
using VuoImage = VuoImageRecord*;

/// The `backingID` of a buffer that wraps a runtime image; its release callback context is the
/// image.
inline constexpr int VuoImageBackingID = 102;

/// The release callback of a buffer that wraps a runtime image: drops the buffer's reference to
/// `image`, on the thread that destroys the buffer. Nothing happens without an image.
BRANNOW_API void ZQBuffer_ReleaseVuoImage(ZQBuffer* buffer, void* image);

/// The free callback of an image over a host buffer's texture: drops the image's reference to that
/// buffer, on the thread that frees the image. Nothing happens when the image carries no buffer.
BRANNOW_API void VuoCallback_FreeBackingForVuoImage(VuoImage image);
