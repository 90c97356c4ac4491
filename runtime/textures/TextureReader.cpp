#include "runtime/textures/TextureReader.h"

#include <epoxy/gl.h>

namespace vuo {

bool readPixels(VuoImage image, void* pixels) {
  GLuint framebuffer = 0;
  glGenFramebuffers(1, &framebuffer);
  glBindFramebuffer(GL_READ_FRAMEBUFFER, framebuffer);
  glFramebufferTexture2D(GL_READ_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, image->glTextureTarget,
                         image->glTextureName, 0);
  const bool readable = glCheckFramebufferStatus(GL_READ_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE;
  if (readable)
    glReadPixels(0, 0, static_cast<GLsizei>(image->pixelsWide),
                 static_cast<GLsizei>(image->pixelsHigh), GL_RGBA, GL_UNSIGNED_BYTE, pixels);
  glBindFramebuffer(GL_READ_FRAMEBUFFER, 0);
  glDeleteFramebuffers(1, &framebuffer);
  return readable;
}

}  // namespace vuo
