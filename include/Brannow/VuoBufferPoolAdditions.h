// From a runtime image to a host buffer.
#pragma once

#include "Brannow/BrannowExport.h"
#include "Brannow/VuoBufferAdditions.h"
#include "Brannow/ZQBufferPool.h"

/// A new buffer of `pool` over the image's own texture. No pixel is copied and no GL call is made.
/// The buffer holds a reference to the image until it is destroyed; it is never recycled. Null when
/// the image or the pool is null, the pool is deleted or there is no memory for it; the image's
/// count is then as it was. Any thread.
BRANNOW_API ZQBufferRef allocBufferFromVuoImage(ZQBufferPool* pool, VuoImage image);
