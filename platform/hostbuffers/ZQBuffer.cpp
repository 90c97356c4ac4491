#include "Brannow/ZQBuffer.h"

#include <atomic>

#include "Brannow/ZQBufferPool.h"
#include "platform/system/SystemLog.h"

ZQBuffer* ZQBuffer::initWithPool(ZQBufferPool* pool) {
  return new ZQBuffer(pool);
}

void ZQBuffer::retain() {
  std::atomic_ref(_retainCount).fetch_add(1, std::memory_order_relaxed);
}

void ZQBuffer::release() {
  if (std::atomic_ref(_retainCount).fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
}

long ZQBuffer::retainCount() const {
  return std::atomic_ref(_retainCount).load(std::memory_order_acquire);
}

ZQBuffer::~ZQBuffer() {
  try {
    if (_releaseCallback) _releaseCallback(this, _releaseContext);
  } catch (...) {
    platform::systemLog("\t\terr: a buffer's release callback raised something");
  }
  // Somebody else's texture is left alone, so that letting go of it never waits for the GPU.
  if (_descriptor.textureBacking == ZQTextureBacking_Pool && _descriptor.name != 0)
    _pool->takeBackTexture(*this);
}
