// What the window does with compositions, without the window, against the real runtime.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <thread>

#include "Brannow/Brannow.h"
#include "EmptyCache.h"
#include "TestSupport.h"
#include "host/Failure.h"
#include "host/Picture.h"
#include "host/Y4mHeader.h"
#include "host/view/FilterInput.h"
#include "host/view/FrameMaker.h"
#include "host/view/InputValues.h"
#include "host/view/Recording.h"
#include "host/view/ScenePlayer.h"
#include "platform/system/Alert.h"
#include "platform/system/FileSystem.h"

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::Pair;
using State = ScenePlayer::State;

namespace {

/// As red as `level`, which also comes out as it went in. The time reaches nothing.
std::string composition(const std::string& level, const std::string& shader = "s.frag") {
  return "digraph G {\n"
         "PublishedInputs [type=\"vuo.in\" label=\"In|<width>w|<height>h|<time>t|<level>l\" "
         "_width_type=\"VuoInteger\" _height_type=\"VuoInteger\" _time_type=\"VuoReal\" "
         "_level_type=\"VuoReal\" "
         "_level=\"" +
         level +
         "\"];\n"
         "PublishedOutputs [type=\"vuo.out\" label=\"Out|<outputImage>o|<back>b\" "
         "_outputImage_type=\"VuoImage\" _back_type=\"VuoReal\"];\n"
         "S [type=\"vuo.shader\" shader=\"" +
         shader +
         "\"];\n"
         "PublishedInputs:width -> S:width;\nPublishedInputs:height -> S:height;\n"
         "PublishedInputs:level -> S:level;\nPublishedInputs:level -> PublishedOutputs:back;\n"
         "S:image -> PublishedOutputs:outputImage;\n}\n";
}

class View : public testing::Test {
 protected:
  View() {
    static const auto context = brannow::GLContext::createRoot();
    static const auto pool = ZQBufferPool::create(context->handle());
    _globalZQBufferPool = pool.get();
    VuoGLScene::setGlobalVuoGLContext(context);
    useEmptyCache(folder.path);
    platform::setAlertPresenter([this](const platform::Alert& alert) {
      alerts.push_back(alert.messageText);
      return std::size_t{0};
    });
    folder.write("s.frag",
                 "#version 330 core\nuniform float level;\nout vec4 pixel;\n"
                 "void main() { pixel = vec4(level, 0.0, 0.0, 1.0); }\n");
    file = folder.write("level.vuo", composition("0.25"));
  }
  ~View() override {
    platform::setAlertPresenter({});
    platform::finishQueues();
  }

  static void await(ScenePlayer& player, const std::function<bool()>& done) {
    serveUntil([&] {
      player.poll();
      return done();
    });
  }
  static void awaitState(ScenePlayer& player, State state) {
    await(player, [&] { return player.state() == state; });
  }
  /// Like the window: gives the main queue its turns and looks around in between.
  static void serveUntil(const std::function<bool()>& done) {
    const auto end = std::chrono::steady_clock::now() + 60s;
    while (!done()) {
      ASSERT_LT(std::chrono::steady_clock::now(), end);
      platform::MainQueue::shared().runDue();
      std::this_thread::sleep_for(1ms);
    }
  }
  static int redOf(const ZQBufferRef& picture) {
    if (!picture) return -1;
    return _globalZQBufferPool->readPixels(*picture).rgba.front();
  }
  std::string picture(const std::string& name, std::uint8_t red) const {
    std::string problem;
    EXPECT_TRUE(host::writePicture({1, 1, {red, 0, 0, 255}}, folder.path + "/" + name, problem));
    return folder.path + "/" + name;
  }
  std::string read(const std::string& name) const {
    return *platform::readFile(folder.path + "/" + name, 10000);
  }
  /// Written later than anything before, however fast.
  void rewrite(const std::string& contents) {
    folder.write("level.vuo", contents);
    setModificationTime(file, {++writes + ::time(nullptr), 0});
  }

  TestFolder folder;
  TestLog log;
  std::string file;
  std::vector<std::string> alerts;
  int writes = 0;
};

TEST_F(View, APlayerCompilesStartsAndTellsHow) {
  ScenePlayer player(true);
  int starts = 0;
  player.setWhenStarted([&](const ZQBufferRef&) { ++starts; });
  EXPECT_EQ(player.state(), State::Empty);
  player.open(file);
  EXPECT_EQ(player.stateText(), "loading…");
  awaitState(player, State::Running);
  EXPECT_THAT(player.stateText(), testing::StartsWith("compiled in "));
  player.reload();
  EXPECT_EQ(player.state(), State::Loading);
  EXPECT_TRUE(player.pictures()) << "what ran goes on meanwhile";
  awaitState(player, State::Running);
  EXPECT_EQ(player.stateText(), "from the cache");
  EXPECT_EQ(starts, 2);
}

TEST_F(View, AnEditIsLoadedAndABrokenOneLeavesWhatRan) {
  ScenePlayer player(false);
  player.open(file);
  awaitState(player, State::Running);
  rewrite(composition("0.5", "nowhere.frag"));
  awaitState(player, State::Failed);
  serveUntil([&] { return !alerts.empty(); });
  EXPECT_THAT(alerts, ElementsAre("Problem loading composition"));
  EXPECT_TRUE(player.pictures());
  EXPECT_TRUE(player.scene().readyToRender());
  rewrite(composition("0.75"));
  awaitState(player, State::Running);
  EXPECT_EQ(player.composition()->inputPortNamed("level")->defaultVal()->doubleValue(), 0.75);
  EXPECT_EQ(player.problem(), "");
}

TEST_F(View, AShaderThatIsEditedTakesThePlaceOfTheOneBeforeWithItsFirstPicture) {
  ScenePlayer player(true);
  std::vector<int> firstPictures;
  player.setFirstRequest([] {
    VuoFrameRequest request;
    request.values["level"] = std::make_shared<const ZQVuoPortValue>(0.4);
    return request;
  });
  player.setWhenStarted([&](const ZQBufferRef& first) { firstPictures.push_back(redOf(first)); });
  player.open(file);
  awaitState(player, State::Running);
  const auto before = player.pictures();
  const std::string shader = read("s.frag");
  const auto swapped = [&](const char* one, const char* other) {
    std::string edited = shader;
    return edited.replace(edited.find(one), std::strlen(one), other);
  };

  folder.write("s.frag", swapped("level, 0", "level / 2.0, 0"));
  await(player, [&] { return firstPictures.size() == 2; });
  EXPECT_THAT(firstPictures, ElementsAre(-1, 51)) << "with the values that are set";
  EXPECT_NE(player.pictures(), before);
  EXPECT_THAT(player.stateText(), testing::StartsWith("compiled in "));

  const auto running = player.pictures();
  folder.write("s.frag", swapped("level, 0", "levels, 0"));
  awaitState(player, State::Failed);
  EXPECT_THAT(player.problem(), testing::HasSubstr("s.frag:4:28: 'levels'"));
  EXPECT_EQ(player.pictures(), running);
  std::filesystem::remove(folder.path + "/s.frag");
  await(player, [&] { return player.problem().find("there is no file") != std::string::npos; });
  EXPECT_EQ(player.pictures(), running);
  EXPECT_EQ(redOf(player.scene().renderFrame({}, std::nullopt).buffer), 51);

  folder.write("s.frag", shader);
  awaitState(player, State::Running);
  EXPECT_EQ(player.problem(), "");
  EXPECT_EQ(firstPictures.back(), 102);
}

TEST_F(View, OnlyTheLastOfSeveralSwitchesCounts) {
  ScenePlayer player(true);
  int starts = 0;
  player.setWhenStarted([&](const ZQBufferRef&) { ++starts; });
  player.open(file);
  player.setNewProcess(false);
  player.setNewProcess(true);
  player.setNewProcess(false);
  awaitState(player, State::Running);
  platform::finishQueues();
  for (int turn = 0; turn < 10; ++turn) platform::MainQueue::shared().runDue();
  EXPECT_EQ(starts, 1);
  EXPECT_FALSE(player.scene().runnerNewProcess());
  EXPECT_EQ(player.state(), State::Running);
}

TEST_F(View, LostContactIsNoticedAndLoadedAgain) {
  ScenePlayer player(true);
  player.open(file);
  awaitState(player, State::Running);
  // What the scene does when its process is gone, at the same moment in the main queue's order.
  player.scene().runnerDelegateLostContactWithComposition();
  awaitState(player, State::LostContact);
  EXPECT_FALSE(player.pictures());
  EXPECT_TRUE(player.composition()) << "the controls stay";
  player.reload();
  awaitState(player, State::Running);
  EXPECT_TRUE(player.pictures());
}

TEST_F(View, ValuesOutliveAReloadAndGoBackToTheDefault) {
  ScenePlayer player(true);
  InputValues values;
  player.open(file);
  awaitState(player, State::Running);
  const auto held = player.composition()->inputPortNamed("level");
  const ZQVuoCompositionPort& port = *held;
  EXPECT_TRUE(values.isDefault(port));
  EXPECT_EQ(values.current(port), ZQVuoPortValue(0.25));
  values.set(port, 0.625);
  player.reload();
  awaitState(player, State::Running);
  const VuoFrame frame = player.scene().renderFrame(values.request(), std::nullopt);
  EXPECT_EQ(frame.output("back")->doubleValue(), 0.625);
  EXPECT_FALSE(values.isDefault(port));
  values.forget(port);
  EXPECT_EQ(values.current(port), ZQVuoPortValue(0.25));
}

TEST_F(View, WhatIsSetIsInTheNextFrameWhicheverJobTakesItsPlace) {
  ScenePlayer player(true);
  player.open(file);
  awaitState(player, State::Running);
  FrameMaker maker;
  const auto levels = [](double level) {
    VuoFrameRequest request;
    request.values["level"] = std::make_shared<const ZQVuoPortValue>(level);
    return request;
  };
  std::vector<FrameMaker::Frame> frames;
  const auto finish = [&] {
    serveUntil([&] {
      for (auto& frame : maker.popFrames()) frames.push_back(std::move(frame));
      return !maker.isBusy();
    });
  };
  // A filter's input that has nothing yet: its values wait for the frame that is asked for at last.
  maker.ask({player.pictures(), [](double) { return FilterInput::Frame(); }, levels(0.2)});
  finish();
  EXPECT_FALSE(frames.back().made.frame.buffer);
  for (int i = 0; i < 3; ++i) maker.ask({player.pictures(), {}, {}, true});
  finish();
  EXPECT_EQ(redOf(frames.back().made.frame.buffer), 51);
  EXPECT_THAT(*frames.back().outputs, ElementsAre(Pair("back", "0.2")));

  maker.ask({player.pictures(), {}, levels(0.6)});
  finish();
  EXPECT_EQ(frames.back().made.frame.answer, VuoFrame::Answer::Fresh);
  EXPECT_EQ(redOf(frames.back().made.frame.buffer), 153);
}

/// A pipe that nobody reads for a while, nor has opened yet, is a slow disk.
TEST_F(View, ARecordingKeepsItsTimeAndTellsWhatItLost) {
  const std::string pipe = folder.path + "/pipe";
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  constexpr int kFrames = 100, kSide = 64;
  const auto grey = [](int level) {
    const auto byte = static_cast<std::uint8_t>(level);
    return _globalZQBufferPool->allocBufferWithPixels(
        {kSide, kSide, std::vector<std::uint8_t>(4 * kSide * kSide, byte)});
  };
  auto now = Recording::Clock::now();
  Recording recording(*_globalZQBufferPool, Y4mFile(pipe), {50, 1}, grey(0), now);
  now -= 5ms;  // each picture comes a little ahead of its frame
  for (int i = 1; i < kFrames; ++i) recording.show(grey(i), now += 20ms);
  recording.stop(now + 10ms);
  EXPECT_THROW(Y4mFile(folder.path + "/s.frag"), Failure) << "it is there already";
  const platform::FileDescriptor reader(::open(pipe.c_str(), O_RDONLY | O_NONBLOCK));

  std::string video, header = y4mHeaderLine(kSide, kSide, {50, 1});
  serveUntil([&] {
    char bytes[65536];
    const ssize_t count = ::read(reader.get(), bytes, sizeof bytes);
    if (count > 0) video.append(bytes, static_cast<std::size_t>(count));
    return recording.isDone() && count <= 0;
  });
  EXPECT_EQ(recording.problem(), "");
  EXPECT_EQ(recording.seconds(), 2);
  constexpr std::size_t kFrame = 6 + 3 * kSide * kSide;
  ASSERT_EQ(video.size(), header.size() + kFrames * kFrame);
  int lost = 0, level = -1;
  for (int i = 0; i < kFrames; ++i) {
    const auto luma = static_cast<std::uint8_t>(video[header.size() + i * kFrame + 6]);
    EXPECT_GE(luma, level);
    level = luma;
    if (std::abs(luma - (16 + i * 219 / 255.)) > 0.6) ++lost;
  }
  EXPECT_GT(lost, kFrames / 2);
  EXPECT_GE(recording.lost(), lost);
  EXPECT_LE(recording.lost(), kFrames - 6);
}

TEST_F(View, AFilterTakesPicturesSequencesAndGenerators) {
  FilterInput input(*_globalZQBufferPool, {4, 4}, false);
  const auto red = [&input](double time = 0) { return redOf(input.frames()(time).picture); };
  EXPECT_GT(red(), 0) << "a test card";
  input.choose(picture("one.png", 10));
  EXPECT_EQ(red(), 10);
  EXPECT_EQ(input.description(), "picture");

  std::filesystem::create_directory(folder.path + "/many");
  picture("many/a.png", 20);
  picture("many/b.png", 30);
  input.choose(folder.path + "/many");
  EXPECT_EQ(input.description(), "2 pictures");
  EXPECT_EQ(red(0.05), 30);
  EXPECT_EQ(red(0.09), 20);
  EXPECT_EQ(red(-0.01), 30);

  EXPECT_THROW(input.choose(folder.path + "/none.png"), Failure);
  EXPECT_THROW(input.choose(folder.path + "/none.vuo"), Failure);
  EXPECT_THROW(input.choose(folder.path + "/s.frag"), Failure);
  EXPECT_EQ(input.description(), "2 pictures") << "what was chosen before stays";

  input.choose(file);
  serveUntil([&] {
    input.poll();
    return red() == 64;
  });
}

}  // namespace
