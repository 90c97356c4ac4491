#include "Brannow/VuoBufferAdditions.h"

#include "platform/system/SystemLog.h"
#include "runtime/VuoHeap.h"
#include "runtime/VuoImage.h"

/// Called while a buffer is destroyed, which nothing may leave.
void ZQBuffer_ReleaseVuoImage(ZQBuffer*, void* image) try {
  if (image) VuoRelease(image);
} catch (...) {
  platform::systemLog("\t\terr: caught exception in %s", {"ZQBuffer_ReleaseVuoImage"});
}

void VuoCallback_FreeBackingForVuoImage(VuoImage image) {
  if (auto* buffer = static_cast<ZQBuffer*>(image->freeCallbackContext)) buffer->release();
}
