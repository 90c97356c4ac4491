#include "runtime/graph/Canvas.h"

#include <epoxy/gl.h>

#include <stdexcept>

#include "runtime/textures/TextureCopy.h"
#include "runtime/textures/TextureUploader.h"

namespace vuo {
namespace {

constexpr const char* rectangleSource = R"(#version 330 core
uniform sampler2DRect source;
out vec4 pixel;
void main() { pixel = texture(source, gl_FragCoord.xy); }
)";

}  // namespace

Canvas::Canvas(std::shared_ptr<ShareGroup> group, PictureSource* forHost)
    : _pool(std::move(group), PictureBudget::ofAScene()), _forHost(forHost) {
  GLint longest = 1;
  glGetIntegerv(GL_MAX_TEXTURE_SIZE, &longest);
  _longestSide = static_cast<std::uint64_t>(longest);
  glGenVertexArrays(1, &_vertexArray);
  glGenFramebuffers(1, &_framebuffer);
  // Samples every image alike, whatever its maker has set for its texture.
  glGenSamplers(1, &_sampler);
  for (const GLenum filter : {GL_TEXTURE_MIN_FILTER, GL_TEXTURE_MAG_FILTER})
    glSamplerParameteri(_sampler, filter, GL_LINEAR);
  for (const GLenum wrap : {GL_TEXTURE_WRAP_S, GL_TEXTURE_WRAP_T})
    glSamplerParameteri(_sampler, wrap, GL_CLAMP_TO_EDGE);
  const std::uint32_t transparent = 0;
  _nothing = imageOfPixels(1, 1, &transparent);
}

Canvas::~Canvas() {
  glDeleteSamplers(1, &_sampler);
  glDeleteFramebuffers(1, &_framebuffer);
  glDeleteVertexArrays(1, &_vertexArray);
}

ImageRef Canvas::imageOfPixels(std::uint64_t width, std::uint64_t height, const void* pixels) {
  ImageRef image = _pool.newImage(width, height);
  fillTexture(image.get(), pixels);
  _drawn = true;
  return image;
}

ImageRef Canvas::draw(const ShaderProgram& program, std::uint64_t width, std::uint64_t height,
                      const std::function<void()>& setUniforms) {
  return drawIn(newImage(width, height), program, setUniforms);
}

ImageRef Canvas::copyOf(const ImageRef& image) {
  ImageRef copy = newImage(image->pixelsWide, image->pixelsHigh);
  if (!copyPixels(image.get(), copy->glTextureName))
    throw std::runtime_error("a picture can't be copied");
  _drawn = true;
  return copy;
}

ImageRef Canvas::filled(std::uint64_t width, std::uint64_t height,
                        const std::array<float, 4>& color) {
  ImageRef image = newImage(width, height);
  glBindFramebuffer(GL_FRAMEBUFFER, _framebuffer);
  glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, image->glTextureName,
                         0);
  glClearBufferfv(GL_COLOR, 0, color.data());
  glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, 0, 0);
  _drawn = true;
  return image;
}

void Canvas::drawPart(const ImageRef& image, const Part& part, const ShaderProgram& program,
                      const std::function<void()>& setUniforms) {
  glEnable(GL_SCISSOR_TEST);
  glScissor(static_cast<GLint>(part.left), static_cast<GLint>(part.bottom),
            static_cast<GLsizei>(part.width), static_cast<GLsizei>(part.height));
  drawIn(image, program, setUniforms);
  glDisable(GL_SCISSOR_TEST);
}

ImageRef Canvas::newImage(std::uint64_t width, std::uint64_t height) {
  ImageRef image;
  if (_drawsForHost && _forHost != nullptr) image = _forHost->newImage(width, height);
  if (!image) return _pool.newImage(width, height);
  _pool.madeElsewhere();
  return image;
}

ImageRef Canvas::drawIn(ImageRef image, const ShaderProgram& program,
                        const std::function<void()>& setUniforms) {
  glUseProgram(program.name());
  setUniforms();
  glBindFramebuffer(GL_FRAMEBUFFER, _framebuffer);
  glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, image->glTextureName,
                         0);
  glViewport(0, 0, static_cast<GLsizei>(image->pixelsWide),
             static_cast<GLsizei>(image->pixelsHigh));
  glBindVertexArray(_vertexArray);
  glDrawArrays(GL_TRIANGLES, 0, 3);
  glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, 0, 0);
  _drawn = true;
  return image;
}

ImageRef Canvas::sampleable(const ImageRef& image) {
  if (!image) return _nothing;
  return image->glTextureTarget == GL_TEXTURE_RECTANGLE ? copyOfRectangle(image) : image;
}

void Canvas::bind(const ImageRef& image, unsigned unit) const {
  glActiveTexture(GL_TEXTURE0 + unit);
  glBindTexture(GL_TEXTURE_2D, image->glTextureName);
  glBindSampler(unit, _sampler);
}

ImageRef Canvas::copyOfRectangle(const ImageRef& image) {
  if (!_rectangleProgram) _rectangleProgram = std::make_unique<ShaderProgram>(rectangleSource);
  ImageRef copy =
      drawIn(_pool.newImage(image->pixelsWide, image->pixelsHigh), *_rectangleProgram, [&] {
        glActiveTexture(GL_TEXTURE0);
        glBindSampler(0, 0);
        glBindTexture(GL_TEXTURE_RECTANGLE, image->glTextureName);
      });
  glBindTexture(GL_TEXTURE_RECTANGLE, 0);
  return copy;
}

void Canvas::finish() {
  if (std::exchange(_drawn, false)) glFinish();
}

}  // namespace vuo
