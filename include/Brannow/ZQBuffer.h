// A GPU buffer of the host: a texture with its description, counted by its holders.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

#include "Brannow/BrannowExport.h"

class ZQBuffer;
class ZQBufferPool;

struct ZQSize {
  double width = 0;
  double height = 0;
  bool operator==(const ZQSize&) const = default;
};

struct ZQRect {
  double x = 0;
  double y = 0;
  double width = 0;
  double height = 0;
  bool operator==(const ZQRect&) const = default;
};

/// Values of `ZQBufferDescriptor::kind`.
enum : std::int64_t { ZQBufferKind_Texture = 3 };
/// Values of `ZQBufferDescriptor::memoryBacking`: whether pixels also lie in host memory.
enum : std::int64_t { ZQMemoryBacking_None = 0 };
/// Values of `ZQBufferDescriptor::textureBacking`: who made the texture and deletes it.
enum : std::int64_t { ZQTextureBacking_Pool = 1, ZQTextureBacking_External = 2 };

/// What a buffer's texture is, in OpenGL's terms. For a picture that a composition made only
/// `target` and `name` speak of the very texture; its formats are fixed values.
struct ZQBufferDescriptor {
  std::int64_t kind = ZQBufferKind_Texture;
  std::uint32_t target = 0;
  std::int64_t internalFormat = 0;
  std::int64_t pixelFormat = 0;
  std::int64_t pixelType = 0;
  std::int64_t memoryBacking = ZQMemoryBacking_None;
  std::int64_t textureBacking = ZQTextureBacking_Pool;
  std::uint32_t name = 0;
  bool mapped = false;      ///< the pixels are mapped into host memory
  bool compressed = false;  ///< the texture holds compressed blocks
  std::uint32_t mapStride = 0;
  std::uint64_t mapLength = 0;
};

/// Called once when a buffer is destroyed, on the thread that dropped its last reference, with the
/// buffer and the context that was set with the callback. What it throws is logged and dropped.
using ZQBufferReleaseCallback = void (*)(ZQBuffer* buffer, void* context);

/// A new buffer belongs to whoever made it, with one reference. `retain` and `release` may be
/// called from any thread; at zero the buffer is destroyed, and a texture that its pool made is
/// kept for reuse or deleted. The setters are for the time before the buffer is shared. The pool
/// must outlive its buffers.
class BRANNOW_API ZQBuffer {
 public:
  /// A buffer without a texture, with one reference that the caller owns.
  static ZQBuffer* initWithPool(ZQBufferPool* pool);

  void retain();
  void release();
  /// For tests and diagnostics; another thread may change it at any time.
  long retainCount() const;

  ZQBufferPool* pool() const { return _pool; }
  ZQBufferDescriptor* descriptorPtr() { return &_descriptor; }
  const ZQBufferDescriptor* descriptorPtr() const { return &_descriptor; }
  std::uint32_t target() const { return _descriptor.target; }
  std::uint32_t name() const { return _descriptor.name; }

  /// With true nothing of the buffer is kept for reuse when its last reference goes.
  void setPreferDeletion(bool preferDeletion) { _preferDeletion = preferDeletion; }
  bool preferDeletion() const { return _preferDeletion; }

  /// The picture's size in pixels.
  void setSize(ZQSize size) { _size = size; }
  ZQSize size() const { return _size; }
  /// The part of the texture that holds the picture, in pixels, counted from the texture's first
  /// row.
  void setSrcRect(ZQRect rect) { _srcRect = rect; }
  ZQRect srcRect() const { return _srcRect; }
  /// The size of the memory behind the texture, in pixels.
  void setBackingSize(ZQSize size) { _backingSize = size; }
  ZQSize backingSize() const { return _backingSize; }

  /// Tells what stands behind a texture that the pool did not make; 0 means nothing.
  void setBackingID(int backingID) { _backingID = backingID; }
  int backingID() const { return _backingID; }
  void setBackingReleaseCallback(ZQBufferReleaseCallback callback) { _releaseCallback = callback; }
  void setBackingReleaseCallbackContext(void* context) { _releaseContext = context; }
  void* backingReleaseCallbackContext() const { return _releaseContext; }

  /// Nanoseconds on the steady clock, set by the pool's `timestampThisBuffer`.
  std::int64_t timestamp() const { return _timestamp; }

 private:
  friend class ZQBufferPool;
  explicit ZQBuffer(ZQBufferPool* pool) : _pool(pool) {}
  ~ZQBuffer();

  mutable long _retainCount = 1;  // atomic
  ZQBufferPool* _pool;
  ZQBufferDescriptor _descriptor;
  bool _preferDeletion = false;
  ZQSize _size;
  ZQRect _srcRect;
  ZQSize _backingSize;
  int _backingID = 0;
  ZQBufferReleaseCallback _releaseCallback = nullptr;
  void* _releaseContext = nullptr;
  std::int64_t _timestamp = 0;
};

/// Owns one reference to a buffer and gives it up when it goes. Copying takes another reference.
class [[nodiscard]] ZQBufferRef {
 public:
  ZQBufferRef() = default;
  ZQBufferRef(std::nullptr_t) {}
  /// Takes over a reference that the caller owns.
  static ZQBufferRef adopt(ZQBuffer* buffer) { return ZQBufferRef(buffer); }
  /// Takes a reference of its own to a buffer that is lent.
  static ZQBufferRef retaining(ZQBuffer* buffer) {
    if (buffer) buffer->retain();
    return ZQBufferRef(buffer);
  }

  ZQBufferRef(const ZQBufferRef& other) : _buffer(other._buffer) {
    if (_buffer) _buffer->retain();
  }
  ZQBufferRef(ZQBufferRef&& other) noexcept : _buffer(std::exchange(other._buffer, nullptr)) {}
  ZQBufferRef& operator=(ZQBufferRef other) noexcept {
    std::swap(_buffer, other._buffer);
    return *this;
  }
  ~ZQBufferRef() {
    if (_buffer) _buffer->release();
  }

  ZQBuffer* get() const { return _buffer; }
  ZQBuffer* operator->() const { return _buffer; }
  ZQBuffer& operator*() const { return *_buffer; }
  explicit operator bool() const { return _buffer != nullptr; }
  bool operator==(const ZQBufferRef&) const = default;

  /// Hands the reference over to the caller.
  [[nodiscard]] ZQBuffer* detach() { return std::exchange(_buffer, nullptr); }

 private:
  explicit ZQBufferRef(ZQBuffer* buffer) : _buffer(buffer) {}
  ZQBuffer* _buffer = nullptr;
};
