#pragma once

#include <array>
#include <functional>
#include <memory>

#include "runtime/graph/PictureSource.h"
#include "runtime/graph/ShaderProgram.h"
#include "runtime/textures/TexturePool.h"

namespace vuo {

/// What the nodes of one composition draw with. Made, used and destroyed with the composition's
/// context current.
class Canvas {
 public:
  /// Pictures that leave the composition are drawn in what `forHost` gives, where it is not null
  /// and gives something.
  Canvas(std::shared_ptr<ShareGroup> group, PictureSource* forHost);
  ~Canvas();
  Canvas(const Canvas&) = delete;
  Canvas& operator=(const Canvas&) = delete;

  /// The largest width and height that an image can have.
  std::uint64_t longestSide() const { return _longestSide; }

  /// Whether what is drawn next leaves the composition.
  void setDrawsForHost(bool drawsForHost) { _drawsForHost = drawsForHost; }

  /// A new image of the pixels (as readPixels gives them).
  ImageRef imageOfPixels(std::uint64_t width, std::uint64_t height, const void* pixels);
  /// A new image that the program draws, once `setUniforms` has bound its images and set its
  /// uniforms.
  ImageRef draw(const ShaderProgram& program, std::uint64_t width, std::uint64_t height,
                const std::function<void()>& setUniforms);
  /// A new image like that one, which is a GL_TEXTURE_2D.
  ImageRef copyOf(const ImageRef& image);
  /// A new image of one color: red, green, blue, alpha.
  ImageRef filled(std::uint64_t width, std::uint64_t height, const std::array<float, 4>& color);
  /// Lets the program draw a part of an image that nobody has been given yet.
  struct Part {
    std::int64_t left, bottom, width, height;
  };
  void drawPart(const ImageRef& image, const Part& part, const ShaderProgram& program,
                const std::function<void()>& setUniforms);
  /// The image as a sampler2D can read it: itself, a copy when its texture is a rectangle, or
  /// transparent black for no image. May draw.
  ImageRef sampleable(const ImageRef& image);
  /// Binds a sampleable image to a texture unit. It must live until the drawing is over.
  void bind(const ImageRef& image, unsigned unit) const;

  /// Returns when everything drawn so far is complete on the GPU.
  void finish();

 private:
  ImageRef copyOfRectangle(const ImageRef& image);
  ImageRef newImage(std::uint64_t width, std::uint64_t height);
  ImageRef drawIn(ImageRef image, const ShaderProgram& program,
                  const std::function<void()>& setUniforms);

  TexturePool _pool;
  PictureSource* const _forHost;
  bool _drawsForHost = false;
  std::uint64_t _longestSide = 1;
  unsigned _vertexArray = 0, _framebuffer = 0, _sampler = 0;
  ImageRef _nothing;                                 ///< one transparent pixel
  std::unique_ptr<ShaderProgram> _rectangleProgram;  ///< made for the first rectangle
  bool _drawn = false;                               ///< since the last `finish`
};

}  // namespace vuo
