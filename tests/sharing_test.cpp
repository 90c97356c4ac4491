// Textures that two processes have: on the real drivers, from pixel to pixel.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdlib>
#include <random>
#include <thread>

#include "Brannow/Brannow.h"
#include "EmptyCache.h"
#include "Holdings.h"
#include "TestSupport.h"
#include "runtime/VuoSharing.h"

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

  /// Scenes end in the background, and give up the pool's buffers then.
  ~Sharing() override { platform::finishQueues(); }

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

  /// Once a picture has come.
  static bool isShared() {
    platform::finishQueues();
    return VuoSharing_description().starts_with("shared textures");
  }

  TestFolder folder;
  TestLog log;
  ZQBufferPool* pool;
  std::string generator, filter;
};

TEST_F(Sharing, PixelsAreExactThroughAChainOfThreeWhileSizesChange) {
  const auto first = running(generator), second = running(filter), third = running(filter);
  const ZQSize sizes[] = {{70, 50}, {33, 7}, {1, 1}, {640, 360}};
  int time = 0;
  expectPixels(drawn(*first, time, {8, 8}), time);
  (void)isShared();
  const auto draw = [&](ZQSize size, int frames) {
    for (int i = 0; i < frames; ++i) {
      ++time;
      const auto picture = drawn(*first, time, size);
      const auto once = filtered(*second, picture), twice = filtered(*third, once);
      expectPixels(twice, time + 2);
      expectPixels(once, time + 1);
      expectPixels(picture, time);
      if (HasFatalFailure()) return;
    }
  };
  for (int round = 0; round < 40; ++round) draw(sizes[round % 4], 1 + round % 3);
  draw({70, 50}, 40);
  // Where one texture comes back late another is lent, of which the next player has to hear first.
  auto before = VuoSharing_counts(), after = before;
  long moved = 1;
  for (int round = 0; round < 20 && moved > 0; ++round) {
    before = VuoSharing_counts();
    draw({70, 50}, 10);
    after = VuoSharing_counts();
    moved = after.carriedOut + after.carriedIn + after.drawnIn - before.carriedOut -
            before.carriedIn - before.drawnIn;
  }
  EXPECT_EQ(moved == 0, isShared()) << moved << " pictures moved";
  EXPECT_EQ(after.sharedOut - before.sharedOut, isShared() ? 30 : 0);
  EXPECT_EQ(after.sharedIn - before.sharedIn, isShared() ? 20 : 0);
}

/// As an input, and as an output that shows its input.
TEST_F(Sharing, PicturesOfTheHostsAndOfItsPoolGoIn) {
  const auto scene = running(filter);
  const auto plain = pool->allocBufferWithPixels(expected(70, 50, 7));
  expectPixels(filtered(*scene, plain), 8);
  (void)isShared();
  for (int i = 0; i < 12; ++i) expectPixels(filtered(*scene, plain), 8);
  const auto before = VuoSharing_counts();
  // Drawn anew by the host in one texture, which stays the host's.
  for (int i = 0; i < 6; ++i) expectPixels(filtered(*scene, plain), 8);
  const auto between = VuoSharing_counts();
  for (int i = 0; i < 30; ++i) {
    const auto buffer = pool->allocBufferWithPixels(expected(90, 50, i));
    expectPixels(filtered(*scene, buffer), i + 1);
    if (HasFatalFailure()) return;
  }
  const auto after = VuoSharing_counts();
  EXPECT_EQ(between.carriedIn - before.carriedIn, isShared() ? 0 : 6);
  EXPECT_GE(after.sharedIn - between.sharedIn, isShared() ? 20 : 0);
}

TEST_F(Sharing, BuffersAreKeptAndReleasedInAnyOrderOnAnyThread) {
  struct Kept {
    ZQBufferRef buffer;
    int time;
  };
  const auto scene = running(generator);
  expectPixels(drawn(*scene, 0, {64, 40}), 0);
  (void)isShared();
  std::mt19937 random(3);
  std::vector<Kept> kept;
  std::vector<std::thread> threads;
  // More than are ever lent, so that the last of them come through memory.
  for (int time = 0; time < 150; ++time) {
    kept.push_back({drawn(*scene, time, {64, 40}), time});
    const std::size_t most = time < 80 ? 80 : 5;
    while (kept.size() > most) {
      std::swap(kept[random() % kept.size()], kept.back());
      expectPixels(kept.back().buffer, kept.back().time);
      threads.emplace_back([last = std::move(kept.back().buffer)]() mutable { last = nullptr; });
      kept.pop_back();
    }
    if (HasFatalFailure()) break;
  }
  for (auto& thread : threads) thread.join();
  scene->prepareToBeDeleted();
  for (const auto& [buffer, time] : kept) expectPixels(buffer, time);
}

/// BRANNOW_STRESS tells how often.
TEST_F(Sharing, PlayersAreKilledWhileTheyHaveTextures) {
  const char* const amount = std::getenv("BRANNOW_STRESS");
  const int kills = amount ? std::atoi(amount) : 5;
  Holdings before;
  for (int kill = -1; kill < kills; ++kill) {
    {
      const auto scene = running(generator), second = running(filter);
      std::vector<ZQBufferRef> kept;
      for (int time = 0; time < 6; ++time) {
        kept.push_back(drawn(*scene, time, {70, 50}));
        expectPixels(filtered(*second, kept.back()), time + 1);
      }
      std::thread killer([&] {
        for (const pid_t player : children("vuo-player")) ::kill(player, SIGKILL);
      });
      for (int time = 6; time < 9; ++time) {
        VuoFrameRequest request;
        request.time = time;
        (void)scene->renderFrame(request, std::nullopt);
      }
      killer.join();
      serveMainQueueUntil([&] { return !scene->readyToRender() && !second->readyToRender(); });
      for (int time = 0; time < 6; ++time) expectPixels(kept[static_cast<std::size_t>(time)], time);
    }
    platform::finishQueues();
    platform::MainQueue::shared().runDue();
    platform::finishQueues();
    pool->purgeIdleBuffers();
    if (kill < 0) before = Holdings::now();
    if (HasFatalFailure()) return;
  }
  EXPECT_EQ(Holdings::after(before), before);
}

TEST_F(Sharing, FallsBackInTheMiddleOfARun) {
  const auto scene = running(generator), second = running(filter);
  int time = 0;
  const auto draw = [&](ZQSize size, int frames) {
    for (int i = 0; i < frames; ++i, ++time) {
      const auto picture = drawn(*scene, time, size);
      expectPixels(filtered(*second, picture), time + 1);
      expectPixels(picture, time);
    }
  };
  draw({70, 50}, 1);
  const bool wasShared = isShared();
  draw({70, 50}, 20);
  // Fewer descriptors than textures of another size need: one for memory's way, and two by which a
  // sanitizer looks at an object.
  rlimit usual;
  getrlimit(RLIMIT_NOFILE, &usual);
  const int left[] = {dup(0), dup(0), dup(0)};
  const rlimit few{static_cast<rlim_t>(left[2] + 1), usual.rlim_max};
  for (const int descriptor : left) close(descriptor);
  setrlimit(RLIMIT_NOFILE, &few);
  draw({90, 30}, 20);
  setrlimit(RLIMIT_NOFILE, &usual);
  if (wasShared) {
    EXPECT_THAT(VuoSharing_description(), testing::HasSubstr("or shared memory ("));
  }
  draw({70, 50}, 20);
  EXPECT_EQ(scene->status().state, VuoSceneStatus::State::Running);
  EXPECT_EQ(second->status().state, VuoSceneStatus::State::Running);
}

}  // namespace
