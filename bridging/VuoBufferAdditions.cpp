#include "Brannow/VuoBufferAdditions.h"

#include "platform/runtime/VuoHeap.h"

void ZQBuffer_ReleaseVuoImage(ZQBuffer*, void* image) {
  if (image) VuoRelease(image);
}

void VuoCallback_FreeBackingForVuoImage(VuoImage image) {
  if (auto* buffer = static_cast<ZQBuffer*>(image->freeCallbackContext)) buffer->release();
}
