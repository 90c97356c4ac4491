#include "bridging/ImageOverBuffer.h"

#include <limits>

#include "Brannow/VuoBufferAdditions.h"

namespace {

constexpr std::uint32_t kTexture2D = 0x0DE1;
constexpr std::uint32_t kTextureRectangle = 0x84F5;

/// Toward zero; what no number of pixels can be is the nearest that can.
std::uint64_t wholePixels(double length) {
  constexpr double end = 18446744073709551616.0;  // the first number beyond the range
  if (!(length > 0)) return 0;
  return length < end ? static_cast<std::uint64_t>(length)
                      : std::numeric_limits<std::uint64_t>::max();
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
