// Makes, recycles and destroys the host's GPU buffers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "Brannow/BrannowExport.h"
#include "Brannow/GLContext.h"
#include "Brannow/GLScene.h"
#include "Brannow/ZQBuffer.h"

/// 8-bit RGBA pixels in host memory, rows from the top of the picture to its bottom, without
/// padding between rows.
struct ZQPixels {
  std::size_t width = 0;
  std::size_t height = 0;
  std::vector<std::uint8_t> rgba;
  bool operator==(const ZQPixels&) const = default;
};

/// A pool works through a GL context of its own in the share group of the context it was made
/// with; every operation may be called from any thread, with or without a current context, and
/// leaves the caller's current context as it was. Operations that touch the GPU block each other.
///
/// Textures hold their pictures the way OpenGL draws them: the first row in memory is the bottom.
class BRANNOW_API ZQBufferPool : public GLScene {
 public:
  /// Null when no context could be made in `shareGroup`.
  static std::unique_ptr<ZQBufferPool> create(brannow::GLContextHandle shareGroup);
  ~ZQBufferPool() override;

  /// Stops handing out buffers and keeping textures; buffers still held outside stay usable.
  void prepareToBeDeleted() override;

  /// An RGBA buffer of `width` by `height` pixels, over a recycled texture where one of that kind
  /// is idle; so the last reference goes only when the GPU is done with the texture. `target` is
  /// GL_TEXTURE_2D (0x0DE1) or GL_TEXTURE_RECTANGLE (0x84F5). Null when the pool is deleted, the
  /// size is zero or the GPU refuses. The contents are undefined.
  [[nodiscard]] ZQBufferRef allocBuffer(std::size_t width, std::size_t height,
                                        std::uint32_t target = 0x0DE1);
  /// A buffer that holds these pixels, finished on the GPU before the call returns.
  [[nodiscard]] ZQBufferRef allocBufferWithPixels(const ZQPixels& pixels,
                                                  std::uint32_t target = 0x0DE1);
  /// The pixels of the buffer's `srcRect`, cut to the texture; empty when they can't be read. The
  /// texture may be anybody's in the share group; whoever drew into it has finished. Waits for the
  /// GPU.
  ZQPixels readPixels(const ZQBuffer& buffer);
  /// The same into `pixels`, whose memory is used again: new memory for each frame of a video costs
  /// as much as reading it.
  void readPixels(const ZQBuffer& buffer, ZQPixels& pixels);

  /// Deletes the idle textures.
  void purgeIdleBuffers();
  /// Textures that the pool has made and not yet deleted, idle ones included.
  std::size_t textureCount() const;

  /// Gives the buffer a fresh time stamp.
  static void timestampThisBuffer(ZQBuffer& buffer);

 private:
  friend class ZQBuffer;
  struct State;
  explicit ZQBufferPool(std::unique_ptr<State> state);
  /// Called by a pool-made buffer that is being destroyed: keeps its texture, or deletes it.
  void takeBackTexture(const ZQBuffer& buffer);

  std::unique_ptr<State> _state;
};

/// The process-wide pool: none until the host has set one. The host owns it and keeps it until no
/// scene and no buffer needs it any more.
BRANNOW_API extern ZQBufferPool* _globalZQBufferPool;
