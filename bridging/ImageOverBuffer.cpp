#include "bridging/ImageOverBuffer.h"

#include "Brannow/VuoBufferAdditions.h"
#include "Brannow/ZQVuoPortValue.h"

namespace {

constexpr std::uint32_t kTexture2D = 0x0DE1;
constexpr std::uint32_t kTextureRectangle = 0x84F5;

std::uint64_t wholePixels(double length) {
  return length > 0 ? static_cast<std::uint64_t>(*ZQVuoPortValue(length).longLongValue()) : 0;
}

}  // namespace

VuoImage imageOverBuffer(ZQBuffer& buffer) {
  if (buffer.backingID() == VuoImageBackingID && buffer.backingReleaseCallbackContext()) {
    return static_cast<VuoImage>(buffer.backingReleaseCallbackContext());
  }
  const auto make = buffer.target() == kTexture2D ? VuoImage_makeClientOwned
                    : buffer.target() == kTextureRectangle
                        ? VuoImage_makeClientOwnedGlTextureRectangle
                        : nullptr;
  if (!make) return nullptr;
  const ZQRect rect = buffer.srcRect();
  const VuoImage image =
      make(buffer.name(), static_cast<std::uint32_t>(buffer.descriptorPtr()->internalFormat),
           wholePixels(rect.width), wholePixels(rect.height), VuoCallback_FreeBackingForVuoImage,
           &buffer);
  if (image) buffer.retain();
  return image;
}
