#include "plugins/python/Upload.h"

#include <epoxy/gl.h>

#include <memory>

#include "Brannow/Engine.h"
#include "platform/system/Mutex.h"

namespace python {
namespace {

/// A context of our own beside the engine's; current on one thread at a time.
struct UploadContext {
  platform::Mutex turn;
  std::shared_ptr<brannow::GLContext> context GUARDED_BY(turn);
};

UploadContext& uploadContext() {
  static auto& theOnly = *new UploadContext;  // threads may come by while the process ends
  return theOnly;
}

/// A texture's first row is the bottom.
void write(const ZQBuffer& buffer, const std::uint8_t* pixels, GLsizei width, GLsizei height) {
  glBindTexture(buffer.target(), buffer.name());
  glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
  const std::size_t rowBytes = std::size_t{4} * static_cast<std::size_t>(width);
  for (GLsizei row = 0; row < height; ++row, pixels += rowBytes)
    glTexSubImage2D(buffer.target(), 0, 0, height - 1 - row, width, 1, GL_RGBA, GL_UNSIGNED_BYTE,
                    pixels);
  glFinish();
  glBindTexture(buffer.target(), 0);
}

}  // namespace

ZQBufferRef uploaded(const std::uint8_t* pixels, std::size_t width, std::size_t height) {
  const auto* engine = brannow::Engine::shared();
  if (!engine) return nullptr;
  ZQBufferRef buffer = engine->pool().allocBuffer(width, height);
  if (!buffer) return nullptr;
  UploadContext& own = uploadContext();
  platform::LockGuard hold(own.turn);
  if (!own.context) own.context = brannow::GLContext::createSharedWith(engine->context().handle());
  if (!own.context) return nullptr;
  const brannow::GLCurrent current(*own.context);
  if (!current) return nullptr;
  write(*buffer, pixels, static_cast<GLsizei>(width), static_cast<GLsizei>(height));
  return glGetError() == GL_NO_ERROR ? buffer : nullptr;
}

}  // namespace python
