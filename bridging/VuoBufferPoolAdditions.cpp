#include "Brannow/VuoBufferPoolAdditions.h"

#include <new>

#include "runtime/VuoHeap.h"
#include "runtime/VuoImage.h"

namespace {

constexpr std::int64_t kRgb = 0x1907;
constexpr std::int64_t kRgba = 0x1908;
constexpr std::int64_t kUnsignedInt8888Rev = 0x8367;

ZQBufferDescriptor descriptorOverTextureOf(VuoImage image) {
  ZQBufferDescriptor descriptor;
  descriptor.kind = ZQBufferKind_Texture;
  descriptor.target = image->glTextureTarget;
  descriptor.internalFormat = kRgb;
  descriptor.pixelFormat = kRgba;
  descriptor.pixelType = kUnsignedInt8888Rev;
  descriptor.memoryBacking = ZQMemoryBacking_None;
  descriptor.textureBacking = ZQTextureBacking_External;
  descriptor.name = image->glTextureName;
  descriptor.mapped = false;
  descriptor.compressed = false;
  descriptor.mapStride = 0;
  descriptor.mapLength = 0;
  return descriptor;
}

}  // namespace

ZQBufferRef allocBufferFromVuoImage(ZQBufferPool* pool, VuoImage image) try {
  if (!image) return nullptr;
  if (!pool || pool->deleted()) return nullptr;

  auto buffer = ZQBufferRef::adopt(ZQBuffer::initWithPool(pool));
  const ZQSize size{static_cast<double>(image->pixelsWide), static_cast<double>(image->pixelsHigh)};
  ZQBufferPool::timestampThisBuffer(*buffer);
  *buffer->descriptorPtr() = descriptorOverTextureOf(image);
  buffer->setPreferDeletion(true);
  buffer->setSize(size);
  buffer->setSrcRect({0, 0, size.width, size.height});
  buffer->setBackingSize(size);
  buffer->setBackingID(VuoImageBackingID);
  // Before the callback: should this raise something, the buffer goes and gives up nothing.
  VuoRetain(image);
  buffer->setBackingReleaseCallback(ZQBuffer_ReleaseVuoImage);
  buffer->setBackingReleaseCallbackContext(image);
  return buffer;
} catch (const std::bad_alloc&) {
  return nullptr;
}
