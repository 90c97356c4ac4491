#include "runtime/textures/TextureCopy.h"

#include <epoxy/gl.h>

namespace vuo {

bool copyPixels(VuoImage image, std::uint32_t toTexture) {
  GLuint framebuffers[2] = {};
  glGenFramebuffers(2, framebuffers);
  glBindFramebuffer(GL_READ_FRAMEBUFFER, framebuffers[0]);
  glFramebufferTexture2D(GL_READ_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, image->glTextureTarget,
                         image->glTextureName, 0);
  glBindFramebuffer(GL_DRAW_FRAMEBUFFER, framebuffers[1]);
  glFramebufferTexture2D(GL_DRAW_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, toTexture, 0);
  const bool canCopy = glCheckFramebufferStatus(GL_READ_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE &&
                       glCheckFramebufferStatus(GL_DRAW_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE;
  const auto width = static_cast<GLint>(image->pixelsWide);
  const auto height = static_cast<GLint>(image->pixelsHigh);
  if (canCopy)
    glBlitFramebuffer(0, 0, width, height, 0, 0, width, height, GL_COLOR_BUFFER_BIT, GL_NEAREST);
  glBindFramebuffer(GL_FRAMEBUFFER, 0);
  glDeleteFramebuffers(2, framebuffers);
  return canCopy;
}

}  // namespace vuo
