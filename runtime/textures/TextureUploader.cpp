#include "runtime/textures/TextureUploader.h"

#include <epoxy/gl.h>

#include <stdexcept>

namespace vuo {

TextureUploader::TextureUploader(std::shared_ptr<PictureBudget> budget)
    : _group(ShareGroup::current()),
      _context(_group->createContext()),
      _current(*_context),
      _pool(_group, std::move(budget)) {
  if (!_current) throw std::runtime_error("The OpenGL context can't be used on this thread");
}

ImageRef TextureUploader::upload(std::uint64_t width, std::uint64_t height, const void* pixels) {
  ImageRef image = _pool.newImage(width, height);
  fillTexture(image.get(), pixels);
  glFinish();
  return image;
}

void fillTexture(VuoImage image, const void* pixels) {
  glBindTexture(GL_TEXTURE_2D, image->glTextureName);
  glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, static_cast<GLsizei>(image->pixelsWide),
                  static_cast<GLsizei>(image->pixelsHigh), GL_RGBA, GL_UNSIGNED_BYTE, pixels);
  glBindTexture(GL_TEXTURE_2D, 0);
}

}  // namespace vuo
