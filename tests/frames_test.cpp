// Frames by request against the real runtime: each picture shows what it says it shows.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <thread>

#include "Brannow/Brannow.h"
#include "EmptyCache.h"
#include "TestSupport.h"

namespace {

using Answer = VuoFrame::Answer;
using Reason = VuoFrame::Reason;
using std::chrono::nanoseconds;

/// Red is the time in 255ths, green the input `level`; blue grows with `work`, which only costs
/// time.
constexpr const char* kClock = R"(#version 330 core
uniform float time;
uniform float level;
uniform int work;
out vec4 pixel;
void main() {
  float busy = 0.0;
  for (int i = 0; i < work; ++i) busy = fract(sin(busy + float(i)) * 43758.5);
  pixel = vec4(time / 255.0, level / 255.0, busy * 0.0001, 1.0);
}
)";

/// Its time goes into blue; red and green are the input's.
constexpr const char* kStamp = R"(#version 330 core
uniform sampler2D image;
uniform float time;
in vec2 uv;
out vec4 pixel;
void main() { pixel = vec4(texture(image, uv).rg, time / 255.0, 1.0); }
)";

constexpr const char* kGenerator = R"(digraph G {
PublishedInputs [type="vuo.in" label="In|<width>w|<height>h|<time>t|<level>l|<work>k" _width_type="VuoInteger" _height_type="VuoInteger" _time_type="VuoReal" _level_type="VuoReal" _work_type="VuoInteger"];
PublishedOutputs [type="vuo.out" label="Out|<outputImage>o|<double>d" _outputImage_type="VuoImage" _double_type="VuoReal"];
S [type="vuo.shader" shader="clock.frag"];
E [type="vuo.expression" expression="level*2"];
PublishedInputs:width -> S:width;
PublishedInputs:height -> S:height;
PublishedInputs:time -> S:time;
PublishedInputs:level -> S:level;
PublishedInputs:work -> S:work;
PublishedInputs:level -> E:level;
S:image -> PublishedOutputs:outputImage;
E:result -> PublishedOutputs:double;
})";

constexpr const char* kFilter = R"(digraph G {
PublishedInputs [type="vuo.in" label="In|<image>i|<time>t" _image_type="VuoImage" _time_type="VuoReal"];
PublishedOutputs [type="vuo.out" label="Out|<outputImage>o" _outputImage_type="VuoImage"];
S [type="vuo.shader" shader="stamp.frag"];
PublishedInputs:image -> S:image;
PublishedInputs:time -> S:time;
S:image -> PublishedOutputs:outputImage;
})";

/// A picture that no input leads to; with a cable, one that every event reads again.
std::string compositionOfPicture(const std::string& shader) {
  return R"(digraph G {
PublishedInputs [type="vuo.in" label="In|<width>w|<height>h" _width_type="VuoInteger" _height_type="VuoInteger"];
PublishedOutputs [type="vuo.out" label="Out|<outputImage>o" _outputImage_type="VuoImage"];
P [type="vuo.image.file" file="still.png"];
)" + shader +
         "}";
}

class Frames : public testing::TestWithParam<bool> {
 protected:
  Frames() {
    static const auto context = brannow::GLContext::createRoot();
    static const auto pool = ZQBufferPool::create(context->handle());
    _globalZQBufferPool = pool.get();
    VuoGLScene::setGlobalVuoGLContext(context);
    useEmptyCache(folder.path);
    folder.write("clock.frag", kClock);
    folder.write("stamp.frag", kStamp);
    clock = load(folder.write("clock.vuo", kGenerator));
  }
  ~Frames() override {
    for (const auto& scene : scenes) scene->prepareToBeDeleted();
    platform::finishQueues();
  }

  std::shared_ptr<VuoGLScene> load(const std::string& file) {
    auto scene = VuoGLScene::initWithSize(8, 4);
    scenes.push_back(scene);
    scene->setRunnerNewProcess(GetParam());
    scene->useFile(file);
    serveMainQueueUntil([&] { return scene->status().state != VuoSceneStatus::State::Loading; });
    EXPECT_EQ(scene->status().state, VuoSceneStatus::State::Running) << scene->status().message;
    return scene;
  }

  static VuoFrameRequest at(double time, double level = 0, std::int64_t work = 0) {
    VuoFrameRequest request;
    request.time = time;
    request.values = {{"level", std::make_shared<const ZQVuoPortValue>(level)},
                      {"work", std::make_shared<const ZQVuoPortValue>(work)}};
    return request;
  }

  static std::vector<int> firstPixel(const VuoFrame& frame) {
    if (!frame.buffer) return {};
    const ZQPixels pixels = _globalZQBufferPool->readPixels(*frame.buffer);
    return {pixels.rgba.begin(), pixels.rgba.begin() + 3};
  }

  TestFolder folder;
  TestLog log;
  std::vector<std::shared_ptr<VuoGLScene>> scenes;
  std::shared_ptr<VuoGLScene> clock;
};

TEST_P(Frames, ShowEachWhatItWasAskedFor) {
  // Far more than one at a time, taken in an order of the host's own, with sizes that change.
  std::vector<std::shared_ptr<VuoPendingFrame>> asked;
  for (int i = 0; i < 100; ++i) {
    VuoFrameRequest request = at(i, 100 - i);
    request.size = {8.0 + i % 3, 4};
    asked.push_back(clock->askForFrame(request));
  }
  for (int k = 0; k < 100; ++k) {
    const int i = k * 37 % 100;
    const VuoFrame frame = clock->takeFrame(asked[static_cast<std::size_t>(i)], std::nullopt);
    ASSERT_EQ(frame.answer, Answer::Fresh) << frame.message;
    EXPECT_EQ(frame.request, asked[static_cast<std::size_t>(i)]->number());
    EXPECT_EQ(frame.time, i);
    EXPECT_THAT(firstPixel(frame), testing::ElementsAre(i, 100 - i, 0));
    EXPECT_EQ(frame.buffer->size(), (ZQSize{8.0 + i % 3, 4}));
    EXPECT_EQ(frame.output("double")->doubleValue(), 2.0 * (100 - i));
  }
  EXPECT_FALSE(clock->oldestRequestSince());
  // What was set with a request stays set, for events of every other kind too.
  VuoFrameRequest later;
  later.time = 7;
  EXPECT_THAT(firstPixel(clock->renderFrame(later, std::nullopt)), testing::ElementsAre(7, 1, 0));
}

TEST_P(Frames, GoThroughAChainOfLayers) {
  const auto stamp = load(folder.write("stamp.vuo", kFilter));
  for (int i = 0; i < 30; ++i) {
    VuoFrameRequest front = at(i, i * 2);
    front.size = {16.0 + i % 4, 8.0 + i % 2};
    VuoFrameRequest back;
    back.image = clock->renderFrame(front, std::nullopt).buffer;
    back.time = 200 - i;
    const VuoFrame frame = stamp->renderFrame(back, std::nullopt);
    ASSERT_EQ(frame.answer, Answer::Fresh) << frame.message;
    EXPECT_EQ(frame.time, 200 - i);
    EXPECT_EQ(frame.buffer->size(), *front.size);
    EXPECT_THAT(firstPixel(frame), testing::ElementsAre(i, i * 2, 200 - i));
  }
}

TEST_P(Frames, OfASlowCompositionComeLateAndAreThere) {
  const VuoFrame first = clock->renderFrame(at(1), std::nullopt);
  const auto slow = clock->askForFrame(at(2, 5, 20'000'000));
  ASSERT_TRUE(clock->oldestRequestSince());
  const VuoFrame late = clock->takeFrame(slow, nanoseconds(0));
  EXPECT_EQ(late.answer, Answer::Late);
  EXPECT_EQ(late.time, 1);
  EXPECT_THAT(firstPixel(late), testing::ElementsAre(1, 0, 0));
  {
    // Given up before it has begun: never drawn, but its level stays.
    const auto givenUp = clock->askForFrame(at(3, 9, 2'000'000'000));
  }
  VuoFrameRequest next;
  next.time = 4;
  next.values = at(0).values;
  next.values.erase("level");
  const auto last = clock->askForFrame(next);
  EXPECT_THAT(firstPixel(clock->takeFrame(slow, std::nullopt)), testing::ElementsAre(2, 5, 0));
  EXPECT_THAT(firstPixel(clock->takeFrame(last, std::nullopt)), testing::ElementsAre(4, 9, 0));
  EXPECT_THAT(firstPixel(first), testing::ElementsAre(1, 0, 0));
}

TEST_P(Frames, AreRepeatedOrNoneWithTheReason) {
  std::filesystem::copy(COMPOSITIONS_DIR "/picture.png", folder.path + "/still.png");
  const auto still = load(folder.write(
      "still.vuo", compositionOfPicture("P:image -> PublishedOutputs:outputImage;\n")));
  const VuoFrame drawn = still->renderFrame(at(1), std::nullopt);
  EXPECT_EQ(drawn.answer, Answer::Fresh) << drawn.message;
  const VuoFrame repeated = still->renderFrame(at(2), std::nullopt);
  EXPECT_EQ(repeated.answer, Answer::Repeated);
  EXPECT_EQ(repeated.request, drawn.request);
  EXPECT_EQ(repeated.time, 1);
  EXPECT_EQ(repeated.buffer->name(), drawn.buffer->name());

  // What a node could not do is told with every picture that depends on it, and only with those.
  folder.write("still.png", "\x89PNG\r\n\x1a\n");
  const auto broken = load(folder.write(
      "broken.vuo", compositionOfPicture("S [type=\"vuo.shader\" shader=\"stamp.frag\"];\n"
                                         "P:image -> S:image;\nPublishedInputs:width -> S:time;\n"
                                         "S:image -> PublishedOutputs:outputImage;\n")));
  for (int i = 0; i < 2; ++i) {
    const VuoFrame failed = broken->renderFrame({}, std::nullopt);
    EXPECT_EQ(failed.reason, Reason::NodeFailed);
    EXPECT_THAT(failed.message, testing::HasSubstr("node \"P\": still.png can't be read"));
  }

  VuoFrameRequest vast = at(1);
  vast.size = ZQSize{1e6, 9};
  const VuoFrame refused = clock->renderFrame(vast, std::nullopt);
  EXPECT_EQ(refused.reason, Reason::NodeFailed);
  EXPECT_THAT(refused.message, testing::HasSubstr("1000000 pixels: the graphics driver's limit"));
  vast.size = ZQSize{8, 9};
  EXPECT_EQ(clock->renderFrame(vast, std::nullopt).answer, Answer::Fresh);

  // The composition comes to its end before it comes to the last of these.
  std::vector<std::shared_ptr<VuoPendingFrame>> waiting;
  for (int i = 0; i < 200; ++i) waiting.push_back(clock->askForFrame(at(1, 1, 2'000'000)));
  clock->useFile(std::nullopt);
  EXPECT_EQ(clock->takeFrame(waiting.back(), std::nullopt).reason, Reason::Ended);
  EXPECT_EQ(clock->renderFrame(at(1), std::nullopt).reason, Reason::NothingRuns);
}

INSTANTIATE_TEST_SUITE_P(Modes, Frames, testing::Bool(), [](const auto& mode) {
  return mode.param ? "OwnProcess" : "ThisProcess";
});

}  // namespace
