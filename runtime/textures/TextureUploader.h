#pragma once

#include <memory>

#include "runtime/RuntimeExport.h"
#include "runtime/textures/TexturePool.h"

namespace vuo {

/// Turns pixels into images, with a context of its own. Made, used and destroyed on one thread,
/// where its context stays current.
class TextureUploader {
 public:
  /// Throws std::runtime_error where there is no OpenGL.
  explicit TextureUploader(std::shared_ptr<PictureBudget> budget);

  /// An image of the pixels (as readPixels gives them), which is complete on the GPU when this
  /// returns. Throws std::runtime_error when there is no memory for it or the budget does not allow
  /// it.
  ImageRef upload(std::uint64_t width, std::uint64_t height, const void* pixels);

  /// As of TexturePool.
  void madeElsewhere() { _pool.madeElsewhere(); }

 private:
  const std::shared_ptr<ShareGroup> _group;
  const std::shared_ptr<platform::GLContext> _context;
  const platform::GLCurrent _current;
  TexturePool _pool;
};

/// Fills the image's texture. A context that knows it is current. Does not wait for the GPU.
BRANNOW_RUNTIME void fillTexture(VuoImage image, const void* pixels);

}  // namespace vuo
