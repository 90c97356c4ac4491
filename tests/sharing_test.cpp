// Textures that two processes have: on the real drivers, from pixel to pixel.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <cstdlib>
#include <iostream>
#include <random>
#include <thread>

#include "Brannow/Brannow.h"
#include "EmptyCache.h"
#include "Holdings.h"
#include "TestSupport.h"
#include "runtime/VuoSharing.h"
#include "runtime/sharing/TextureSharing.h"

namespace {

using Answer = VuoFrame::Answer;

/// Every pixel tells where it is and which frame it belongs to.
constexpr const char* kGenerator = R"(#version 330 core
uniform float time;
out vec4 pixel;
void main() {
  vec2 at = floor(gl_FragCoord.xy);
  pixel = vec4(mod(at.x, 256.0), mod(at.y, 256.0), mod(time, 256.0), 255.0) / 255.0;
}
)";
/// Adds one to the third colour, so that it can be told how often a picture has been filtered.
constexpr const char* kFilter = R"(#version 330 core
uniform sampler2D image;
out vec4 pixel;
void main() { pixel = texelFetch(image, ivec2(gl_FragCoord.xy), 0) + vec4(0, 0, 1.0 / 255.0, 0); }
)";

std::string composition(const std::string& inputs, const std::string& types,
                        const std::string& shader, const std::string& cables) {
  return "digraph G {\nPublishedInputs [type=\"vuo.in\" label=\"In" + inputs + "\" " + types +
         "];\nPublishedOutputs [type=\"vuo.out\" label=\"Out|<outputImage>o\" "
         "_outputImage_type=\"VuoImage\"];\nS [type=\"vuo.shader\" shader=\"" +
         shader + "\"];\n" + cables + "S:image -> PublishedOutputs:outputImage;\n}\n";
}

class Sharing : public testing::Test {
 protected:
  Sharing() {
    static const auto context = platform::GLContext::createRoot();
    static const auto sharedPool = ZQBufferPool::create(context->handle());
    pool = _globalZQBufferPool = sharedPool.get();
    VuoGLScene::setGlobalVuoGLContext(context);
    useEmptyCache(folder.path);
    folder.write("g.frag", kGenerator);
    folder.write("f.frag", kFilter);
    generator = folder.write(
        "g.vuo",
        composition("|<width>w|<height>h|<time>t",
                    "_width_type=\"VuoInteger\" _height_type=\"VuoInteger\" "
                    "_time_type=\"VuoReal\"",
                    "g.frag",
                    "PublishedInputs:width -> S:width;\nPublishedInputs:height -> S:height;\n"
                    "PublishedInputs:time -> S:time;\n"));
    filter = folder.write(
        "f.vuo", composition("|<image>i|<time>t", "_image_type=\"VuoImage\" _time_type=\"VuoReal\"",
                             "f.frag", "PublishedInputs:image -> S:image;\n"));
  }

  std::shared_ptr<VuoGLScene> running(const std::string& file) {
    auto scene = VuoGLScene::initWithSize(70, 50);
    scene->setRunnerNewProcess(true);
    scene->useFile(file);
    return scene;
  }

  static ZQBufferRef drawn(VuoGLScene& scene, double time, ZQSize size) {
    VuoFrameRequest request;
    request.time = time;
    request.size = size;
    const VuoFrame frame = scene.renderFrame(request, std::nullopt);
    EXPECT_EQ(frame.answer, Answer::Fresh) << frame.message;
    return frame.buffer;
  }
  static ZQBufferRef filtered(VuoGLScene& scene, const ZQBufferRef& image) {
    VuoFrameRequest request;
    request.image = image;
    const VuoFrame frame = scene.renderFrame(request, std::nullopt);
    EXPECT_EQ(frame.answer, Answer::Fresh) << frame.message;
    return frame.buffer;
  }

  ZQPixels expected(std::size_t width, std::size_t height, int third) const {
    ZQPixels pixels{width, height, {}};
    for (std::size_t row = height; row-- > 0;)
      for (std::size_t column = 0; column < width; ++column)
        for (const std::size_t colour :
             {column, row, static_cast<std::size_t>(third), std::size_t{255}})
          pixels.rgba.push_back(static_cast<std::uint8_t>(colour));
    return pixels;
  }
  void expectPixels(const ZQBufferRef& buffer, int third) const {
    ASSERT_TRUE(buffer);
    const auto width = static_cast<std::size_t>(buffer->size().width);
    const auto height = static_cast<std::size_t>(buffer->size().height);
    ASSERT_TRUE(pool->readPixels(*buffer) == expected(width, height, third % 256))
        << width << "x" << height << ", " << third;
  }

  TestFolder folder;
  TestLog log;
  ZQBufferPool* pool;
  std::string generator, filter;
};

TEST_F(Sharing, Generator) {
  auto scene = running(generator);
  for (int i = 0; i < 30; ++i) expectPixels(drawn(*scene, i, {70, 50}), i);
  auto c = VuoSharing_counts();
  std::cout << VuoSharing_description() << " " << c.sharedOut << " " << c.carriedOut << "\n";
  auto f = running(filter);
  for (int i = 0; i < 30; ++i) expectPixels(filtered(*f, drawn(*scene, i, {70, 50})), i + 1);
  c = VuoSharing_counts();
  std::cout << VuoSharing_description() << " " << c.sharedOut << " " << c.carriedOut << " in "
            << c.sharedIn << " " << c.drawnIn << " " << c.carriedIn << "\n";
  auto own = pool->allocBufferWithPixels(expected(70, 50, 7));
  for (int i = 0; i < 30; ++i) expectPixels(filtered(*f, own), 8);
  c = VuoSharing_counts();
  std::cout << VuoSharing_description() << " " << c.sharedOut << " " << c.carriedOut << " in "
            << c.sharedIn << " " << c.drawnIn << " " << c.carriedIn << "\n";
}

}  // namespace
