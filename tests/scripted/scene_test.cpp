#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <latch>
#include <thread>

#include "Brannow/Brannow.h"
#include "Brannow/ZQBufferPool.h"
#include "platform/system/Alert.h"
#include "platform/system/Notifications.h"
#include "runtime/VuoHeap.h"
#include "tests/EmptyCache.h"
#include "tests/TestSupport.h"
#include "tests/Waiting.h"
#include "tests/scripted/ScriptedRuntime.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

constexpr const char* kGenerator =
    "PublishedInputs [type=\"vuo.in\" label=\"In|<width>w|<height>h|<time>t|<level>l|<name>n"
    "|<tint>c|<on>b|<spot>p|<picture>i\" _width_type=\"VuoInteger\" _height_type=\"VuoReal\" "
    "_time_type=\"VuoReal\" _level_type=\"VuoInteger\" _name_type=\"VuoText\" "
    "_tint_type=\"VuoColor\" _on_type=\"VuoBoolean\" _spot_type=\"VuoPoint2d\" "
    "_picture_type=\"VuoImage\"];\n"
    "PublishedOutputs [type=\"vuo.out\" label=\"Out|<outputImage>o|<sum>s\" "
    "_outputImage_type=\"VuoImage\" _sum_type=\"VuoReal\"];\n";

constexpr const char* kFilter =
    "PublishedInputs [type=\"vuo.in\" label=\"In|<time>t|<image>i\" _time_type=\"VuoReal\" "
    "_image_type=\"VuoImage\"];\n"
    "PublishedOutputs [type=\"vuo.out\" label=\"Out|<outputImage>o\" "
    "_outputImage_type=\"VuoImage\"];\n";

/// The process-wide pool of these tests; buffers over scripted images never touch its GL context.
ZQBufferPool* sharedPool() {
  static const auto context = brannow::GLContext::createRoot();
  static const auto pool = ZQBufferPool::create(context->handle());
  return pool.get();
}

class Scene : public testing::Test {
 protected:
  Scene() {
    scripted::reset();
    useEmptyCache(folder.path);
    platform::setAlertPresenter([](const platform::Alert&) { return std::size_t{0}; });
    _globalZQBufferPool = sharedPool();
    generator = folder.write("clouds.vuo", kGenerator);
    filter = folder.write("blur.vuo", kFilter);
    scripted::script().inputs = {"width", "height", "time",    "level", "name",  "tint",
                                 "on",    "spot",   "picture", "image", "secret"};
    picture = scripted::makeImage(640, 360);
    scripted::script().imageOutputs["outputImage"] = picture;
    scene = VuoGLScene::initWithSize(640.9, 360.5);
    log.drain();
  }

  ~Scene() override {
    scene.reset();
    platform::finishQueues();
    scripted::script().imageOutputs.clear();
    VuoRelease(picture);
    EXPECT_EQ(scripted::liveRunners(), 0);
    EXPECT_EQ(scripted::liveImages(), 0);
    platform::setAlertPresenter({});
  }

  void load(const std::string& file) {
    scene->useFile(file, false);
    scripted::takeCalls();
    log.drain();
  }

  TestFolder folder;
  TestLog log;
  std::string generator;
  std::string filter;
  VuoImage picture;
  std::shared_ptr<VuoGLScene> scene;
};

TEST_F(Scene, TakesAGeneratorFromTheFileToAPicture) {
  scripted::script().during["start"] = [] {
    scripted::report("outputImage", true);
    scripted::report("outputImage", false);
  };
  scene->useFile(generator, true);
  EXPECT_FALSE(scene->readyToRender());
  EXPECT_EQ(scene->comp()->protocol(), ZQVuoProtocol_ImageGenerator);
  serveMainQueueUntil([&] { return scene->readyToRender(); });

  auto calls = scripted::takeCalls();
  EXPECT_THAT(calls[2], testing::MatchesRegex("newSeparate .*/lumoVuoExe " + folder.path));
  calls.erase(calls.begin(), calls.begin() + 3);
  EXPECT_THAT(calls,
              ElementsAre("setDelegate", "start", "findInput width", "set width 640", "fire width",
                          "findInput height", "set height 360.5", "fire height", "fire"));
  // What the composition reported while it started does not count as a frame.
  EXPECT_THAT(scene->copyAndClearOutValPortNames(), IsEmpty());
  EXPECT_THAT(scene->copyAndClearOutEventPortNames(), IsEmpty());

  std::thread composition;
  scripted::script().during["fire"] = [&] {
    composition = std::thread([] { scripted::report("outputImage", true); });
  };
  const long retains = scripted::retainsOf(picture);
  {
    const ZQBufferRef buffer = scene->allocAndRenderABuffer();
    composition.join();
    ASSERT_TRUE(buffer);
    EXPECT_EQ(buffer->retainCount(), 1);
    EXPECT_EQ(buffer->name(), 7u);
    EXPECT_EQ(buffer->size(), (ZQSize{640, 360}));
    EXPECT_EQ(buffer->srcRect(), (ZQRect{0, 0, 640, 360}));
    EXPECT_EQ(buffer->backingID(), VuoImageBackingID);
    EXPECT_EQ(buffer->backingReleaseCallbackContext(), picture);
    EXPECT_EQ(scripted::retainsOf(picture), retains + 1);
  }
  EXPECT_EQ(scripted::retainsOf(picture), retains);
  calls = scripted::takeCalls();
  EXPECT_THAT(calls, ElementsAre("findInput time", StartsWith("set time 0."), "fire time",
                                 "findOutput outputImage", "get outputImage", "imageJson"));
  EXPECT_THAT(log.drain(), IsEmpty());
}

TEST_F(Scene, RunsInsideThisProcessWhenAsked) {
  scene->setRunnerNewProcess(false);
  scene->useFile(generator);
  EXPECT_TRUE(scene->readyToRender());
  EXPECT_THAT(scripted::takeCalls()[2],
              testing::MatchesRegex("newInProcess .*/dylib.dylib " + folder.path));
}

TEST_F(Scene, HasAnArtefactThatCantRunCompiledAgainOnce) {
  scripted::script().refusesArtefacts = true;
  scene->useFile(generator, true);
  serveMainQueueUntil([&] { return scene->readyToRender(); });
  const auto calls = scripted::takeCalls();
  ASSERT_GT(calls.size(), 5u);
  EXPECT_THAT(calls[0], StartsWith("compile "));
  EXPECT_THAT(calls[2], StartsWith("compile "));
  EXPECT_THAT(calls[4], StartsWith("newSeparate "));
}

TEST_F(Scene, GivesUpOnAFrameAtItsDeadline) {
  load(generator);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(scene->allocAndRenderABuffer());
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(500));
  EXPECT_THAT(log.drain(), ElementsAre("\t\tERR: frame took too long to render, clouds.vuo, "
                                       "-[VuoGLScene allocAndRenderABuffer]"));
  scripted::report("outputImage", true);
  EXPECT_TRUE(scene->allocAndRenderABuffer());
  EXPECT_TRUE(scene->allocAndRenderABuffer());
  scene->useFile(std::nullopt);
  EXPECT_FALSE(scene->allocAndRenderABuffer());
  EXPECT_THAT(log.drain(), ElementsAre("\t\terr: bailing, localComp nil, -[VuoGLScene "
                                       "allocAndRenderABuffer]"));
}

TEST_F(Scene, WakesAFrameWithTheReportItself) {
  load(generator);
  std::thread composition;
  scripted::script().during["fire"] = [&] {
    composition = std::thread([&] {
      waitUntilOthersSleep();
      scripted::report("outputImage", true);
    });
  };
  const auto start = std::chrono::steady_clock::now();
  EXPECT_TRUE(scene->allocAndRenderABuffer());
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(500));
  composition.join();
}

TEST_F(Scene, TurnsARequestIntoOneEvent) {
  const VuoFrameRequest nothing;
  EXPECT_EQ(scene->renderFrame(nothing, std::nullopt).reason, VuoFrame::Reason::NothingRuns);
  load(filter);
  VuoFrameRequest request;
  request.time = 2.5;
  request.image = ZQBufferRef::adopt(ZQBuffer::initWithPool(sharedPool()));
  request.image->descriptorPtr()->target = 0x0DE1;
  EXPECT_EQ(scene->askForFrame(request)->time(), 2.5);
  EXPECT_THAT(scripted::takeCalls(),
              ElementsAre("findInput time", "set time 2.5", StartsWith("make2D 0 "),
                          "interprocessImageJson", "findInput image", StartsWith("set image "),
                          "fireTagged 2"));
  EXPECT_EQ(request.image->retainCount(), 1);

  load(generator);
  platform::finishQueues();  // the former runner's end is told of, too
  scripted::takeCalls();
  request.size = {320, 200.5};
  request.values = {{"level", std::make_shared<ZQVuoPortValue>(3)},
                    {"tint", std::make_shared<ZQVuoPortValue>(3)},
                    {"absent", std::make_shared<ZQVuoPortValue>(3)}};
  request.images = {{"level", request.image}};
  const auto asked = scene->askForFrame(request);
  EXPECT_EQ(asked->number(), 3u);
  EXPECT_THAT(asked->notTaken(), ElementsAre("image", "absent", "tint", "level"));
  EXPECT_EQ(scene->size(), (ZQSize{320, 200.5}));
  EXPECT_THAT(scripted::takeCalls(),
              ElementsAre("findInput time", "set time 2.5", "findInput width", "set width 320",
                          "findInput height", "set height 200.5", "findInput level", "set level 3",
                          "fireTagged 3"));
  EXPECT_THAT(log.drain(), IsEmpty());

  scripted::script().throwing = {"fireTagged"};
  const VuoFrame ended = scene->renderFrame(nothing, std::nullopt);
  EXPECT_EQ(ended.reason, VuoFrame::Reason::Ended);
  EXPECT_EQ(ended.message, "The composition has ended: scripted loss.");
  EXPECT_THAT(log.drain(), ElementsAre("\t\terr: caught exception in -[VuoGLScene askForFrame:]"));
}

TEST_F(Scene, SaysWhatAPictureIs) {
  using State = VuoRunner::Event::State;
  using Answer = VuoFrame::Answer;
  using Reason = VuoFrame::Reason;
  load(generator);
  auto& script = scripted::script();
  script.outputs["sum"] = "7";
  const struct {
    State state;
    VuoRunner::EventTag madeBy;
    std::string fault;
    bool hasPicture;
    Answer answer;
    Reason reason;
  } rows[] = {
      {State::Done, {1, 9.5}, "", true, Answer::Fresh, Reason::Given},
      {State::Done, {1, 9.5}, "", true, Answer::Repeated, Reason::Given},
      {State::Done, {3, 9.5}, "a node broke", true, Answer::None, Reason::NodeFailed},
      {State::Done, {4, 9.5}, "", false, Answer::None, Reason::NoPicture},
      {State::Waiting, {2, 9.5}, "", true, Answer::Late, Reason::Given},
      {State::Waiting, {}, "", false, Answer::Late, Reason::Given},
      {State::Dropped, {}, "", true, Answer::None, Reason::Dropped},
      {State::Ended, {}, "", true, Answer::None, Reason::Ended},
  };
  for (const auto& row : rows) {
    script.eventState = row.state;
    script.madeBy = row.madeBy;
    script.fault = row.fault;
    if (row.hasPicture)
      script.imageOutputs["outputImage"] = picture;
    else
      script.imageOutputs.erase("outputImage");
    const VuoFrame frame = scene->renderFrame({}, std::chrono::nanoseconds(0));
    EXPECT_EQ(frame.answer, row.answer);
    EXPECT_EQ(frame.reason, row.reason);
    EXPECT_EQ(frame.message.empty(), row.answer != Answer::None);
    EXPECT_EQ(frame.buffer != nullptr, row.hasPicture && row.answer != Answer::None);
    if (!frame.buffer) continue;
    EXPECT_EQ(frame.request, row.madeBy.number);
    EXPECT_EQ(frame.time, 9.5);
    EXPECT_EQ(*frame.output("sum")->stringValue(), "7");
    EXPECT_FALSE(frame.output("outputImage"));
  }
  script.imageOutputs["outputImage"] = picture;
  EXPECT_THAT(log.drain(), IsEmpty());
}

TEST_F(Scene, TellsItsStatusAtEveryChange) {
  using State = VuoSceneStatus::State;
  std::vector<VuoSceneStatus> seen;
  scene->setStatusHandler([&](const VuoSceneStatus& status) { seen.push_back(status); });
  const auto expect = [&](const std::vector<VuoSceneStatus>& wanted) {
    serveMainQueueUntil([&] { return seen.size() >= wanted.size(); });
    EXPECT_EQ(seen, wanted);
    EXPECT_EQ(scene->status(), wanted.back());
    seen.clear();
  };
  scene->useFile(generator, true);
  expect({{State::Loading, generator, ""}, {State::Running, generator, ""}});
  scripted::script().throwing = {"compile"};
  scene->useFile(filter);
  const std::string why =
      "There was a problem loading the composition blur.vuo.  scripted failure of compile";
  expect({{State::Loading, filter, ""}, {State::Failed, filter, why}});
  scripted::script().throwing = {"start"};
  scene->useFile(generator);
  expect(
      {{State::Loading, generator, ""}, {State::Failed, generator, "scripted failure of start"}});
  scripted::script().throwing = {};
  scripted::script().comesUp = false;  // not at once
  scene->useFile(generator);
  const auto watcher = scripted::watcher();
  watcher->isOverdue(std::chrono::milliseconds(1260));
  watcher->cameUp();
  watcher->isOverdue(std::chrono::seconds(20));
  watcher->hasCaughtUp();
  expect({{State::Loading, generator, ""},
          {State::Loading, generator, "The composition has not come up for 1.3 s."},
          {State::Running, generator, ""},
          {State::Running, generator, "An event has not been finished for 20.0 s."},
          {State::Running, generator, ""}});
  scene->useFile(generator);
  scripted::delegate()->lostContactWithComposition();  // before it has come up
  expect({{State::Loading, generator, ""}, {State::Failed, generator, "scripted loss"}});
  EXPECT_FALSE(scene->comp() || scene->readyToRender());
  scripted::script().comesUp = true;
  scene->useFile(filter, true);  // another load after a failed one is told of afresh
  expect({{State::Loading, filter, ""}, {State::Running, filter, ""}});
  scripted::delegate()->lostContactWithComposition();
  expect({{State::Lost, filter, "scripted loss"}});
  const std::string absent = folder.path + "/absent.vuo";
  scene->useFile(absent, true);
  expect(
      {{State::Loading, absent, ""}, {State::Failed, absent, "There is no file " + absent + "."}});
  scene->useFile(std::nullopt);
  expect({{State::Empty, std::nullopt, ""}});
  scene->useFile(generator);
  scene->setStatusHandler({});
  platform::MainQueue::shared().runDue();
  EXPECT_THAT(seen, IsEmpty());
}

TEST_F(Scene, KeepsOnlyTheResultOfTheLastLoad) {
  scene->useFile(generator, true);
  scene->useFile(filter, true);
  serveMainQueueUntil([&] { return scene->readyToRender(); });
  const auto lines = log.drain();
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_THAT(lines[0], HasSubstr("err: problem with cached path, "));
  EXPECT_THAT(lines[0], HasSubstr("src is " + generator + ", should be loading " + filter +
                                  ".  -[VuoGLScene _cachedItemAvailable:]"));
  EXPECT_EQ(lines[1], "\t\terr: no width port name, -[VuoGLScene _applySize] - " + filter);

  scene->useFile(generator, true);
  scene->useFile(generator, true);
  std::vector<std::string> again;
  serveMainQueueUntil([&] {
    for (auto& line : log.drain()) again.push_back(line);
    return !again.empty();
  });
  EXPECT_THAT(again, ElementsAre(StartsWith("\t\terr: runner already exists, ")));
}

TEST_F(Scene, NeverInstallsARunnerThatWasOvertakenWhileItStarted) {
  for (const bool deletes : {false, true}) {
    std::latch starting(1), moved(1);
    scripted::script().during["start"] = [&] {
      starting.count_down();
      moved.wait();
    };
    std::thread loader([&] { scene->useFile(generator, false); });
    starting.wait();
    if (deletes) {
      scene->prepareToBeDeleted();
    } else {
      scene->useFile(std::nullopt);
    }
    moved.count_down();
    loader.join();
    EXPECT_FALSE(scene->readyToRender());
    EXPECT_EQ(scripted::liveRunners(), 0);
    EXPECT_THAT(log.drain(),
                testing::Contains(StartsWith("\t\terr: something went wrong, cached path was ")));
  }
}

int heldUp[2],
    letGo[2];  // pipes: a thread that is signalled writes to the one, reads from the other
TEST_F(Scene, KeepsTheRunnerOfItsLastLoadWhenAnEarlierOneIsHeldUp) {
#ifdef __SANITIZE_THREAD__
  GTEST_SKIP() << "there a signal does not reach a thread that waits for a lock";
#endif
  for (int* ends : {heldUp, letGo}) ASSERT_EQ(::pipe(ends), 0);
  std::signal(SIGUSR1, [](int) {
    char byte = 0;
    if (::write(heldUp[1], &byte, 1) != 1 || ::read(letGo[0], &byte, 1) != 1) std::abort();
  });
  load(generator);
  std::latch inside(1), leave(1);
  scripted::script().duringNext["findInput"] = [&] {
    inside.count_down();
    leave.wait();
  };
  std::thread user([&] { scene->setValue(std::make_shared<const ZQVuoPortValue>(1), "level"); });
  inside.wait();
  // The file is set, and what ran is not taken out yet: the one who is inside has to leave first.
  std::thread earlier([&] { scene->useFile(folder.path + "/absent.vuo", false); });
  waitUntilOthersSleep();
  EXPECT_NE(scene->filePath(), generator);
  ::pthread_kill(earlier.native_handle(), SIGUSR1);
  char byte;
  ASSERT_EQ(::read(heldUp[0], &byte, 1), 1);
  leave.count_down();
  user.join();
  scene->useFile(filter, false);
  ASSERT_TRUE(scene->readyToRender());
  ASSERT_EQ(::write(letGo[1], "", 1), 1);
  earlier.join();
  EXPECT_TRUE(scene->readyToRender());
  EXPECT_EQ(scene->filePath(), filter);
  EXPECT_EQ(scene->status().state, VuoSceneStatus::State::Running);
  std::signal(SIGUSR1, SIG_DFL);
  for (const int* ends : {heldUp, letGo})
    for (const int end : {ends[0], ends[1]}) ::close(end);
}

TEST_F(Scene, IsNotUnloadedByTheLossOfAnotherRunner) {
  load(generator);
  VuoRunnerDelegate* const old = scripted::delegate();
  std::latch stopping(1), stopped(1);
  scripted::script().during["removeDelegate"] = [&] {
    stopping.count_down();
    stopped.wait();
  };
  const auto lose = [&] {
    old->lostContactWithComposition();
    bool handled = false;
    platform::MainQueue::shared().after(std::chrono::nanoseconds(10'000), [&] { handled = true; });
    serveMainQueueUntil([&] { return handled; });
  };
  load(filter);
  stopping.wait();
  lose();
  EXPECT_TRUE(scene->readyToRender());
  EXPECT_EQ(scene->filePath(), filter);
  EXPECT_THAT(log.drain(), IsEmpty());
  stopped.count_down();
  platform::finishQueues();

  // Lost before it is installed: it never is.
  scripted::script().during.clear();
  scripted::script().duringNext["start"] = [&] {
    scripted::delegate()->lostContactWithComposition();
    serveMainQueueUntil([&] { return !scene->filePath(); });
  };
  scene->useFile(generator, false);
  EXPECT_FALSE(scene->readyToRender());
  EXPECT_THAT(
      log.drain(),
      ElementsAre("\t\terr: -[VuoGLScene runnerDelegateLostContactWithComposition], file was "
                  "clouds.vuo",
                  StartsWith("\t\terr: something went wrong, cached path was ")));
}

TEST_F(Scene, LoadsHoweverManyOthersHangWhileTheyStop) {
  constexpr int kHanging = 12;
  std::latch hanging(kHanging), released(1);
  scripted::script().during["waitUntilStopped"] = [&] {
    hanging.count_down();
    released.wait();
  };
  for (int i = 0; i < kHanging; ++i) {
    const auto other = VuoGLScene::initWithSize(8, 8);
    other->setRunnerNewProcess(false);
    other->useFile(generator);
  }
  hanging.wait();
  const std::string fresh = folder.write("fresh.vuo", kGenerator);
  scene->useFile(fresh, true);  // with a compile
  serveMainQueueUntil([&] { return scene->readyToRender(); });
  released.count_down();
  platform::finishQueues();
  scripted::script().during.clear();
}

TEST_F(Scene, TellsRunnersHowPatientTheHostIs) {
  EXPECT_EQ(scene->eventPatience(), std::chrono::seconds(10));
  load(generator);
  EXPECT_EQ(scripted::patience(), std::chrono::seconds(10));
  scene->setEventPatience(std::nullopt);
  EXPECT_EQ(scripted::patience(), std::nullopt);
  scene->setEventPatience(std::chrono::seconds(1));
  load(filter);
  EXPECT_EQ(scripted::patience(), std::chrono::seconds(1));
}

TEST_F(Scene, StopsTheOldRunnerInTheBackground) {
  load(generator);
  std::latch stopping(1), stopped(1);
  scripted::script().during["stop"] = [&] {
    stopping.count_down();
    stopped.wait();
  };
  scene->useFile(std::nullopt);
  EXPECT_FALSE(scene->readyToRender());
  stopping.wait();
  EXPECT_EQ(scripted::liveRunners(), 1);
  scripted::script().throwing = {"waitUntilStopped"};
  stopped.count_down();
  platform::finishQueues();
  EXPECT_THAT(scripted::takeCalls(),
              ElementsAre("removeDelegate", "stop", "waitUntilStopped", "destroyRunner"));
  const std::string caught = "\t\terr: caught exception in +[VuoGLScene _tearDown:]";
  EXPECT_THAT(log.drain(), ElementsAre(caught));
  scripted::script().during.clear();
  for (const bool anInt : {false, true}) {
    scripted::script().throwing = {};
    load(generator);
    scripted::script().throwing = {"removeDelegate"};
    scripted::script().throwsInt = anInt;
    scene->useFile(std::nullopt);
    platform::finishQueues();
    EXPECT_THAT(scripted::takeCalls(), ElementsAre("removeDelegate", "destroyRunner"));
    EXPECT_THAT(log.drain(), ElementsAre(caught));
  }
}

TEST_F(Scene, CarriesValuesOfEveryType) {
  const auto value = [](auto contents) { return std::make_shared<const ZQVuoPortValue>(contents); };
  load(generator);
  scene->setValue(value(-2.9), "level");
  scene->setValue(value(true), "height");
  scene->setValue(value("text"), "name");
  scene->setValue(value(ZQVuoColor{-1, 0.5, 2, 1}), "tint");
  scene->setValue(value(0.5), "on");
  scene->setValue(value(ZQVuoPoint{0.25, -3}), "spot");
  auto calls = scripted::takeCalls();
  std::erase_if(calls, [](const auto& call) { return !call.starts_with("set "); });
  EXPECT_THAT(calls,
              ElementsAre("set level -2", "set height 1.0", "set name \"text\"",
                          "set tint [-1.0,0.5,2.0,1.0]", "set on true", "set spot [0.25,-3.0]"));
  scene->setValue(value("text"), "level");
  scene->setValue(value(1.0), "name");
  scene->setValue(nullptr, "level");
  scene->setValue(value(1.0), std::nullopt);
  EXPECT_THAT(log.drain(), IsEmpty());
  scene->setValue(value(1.0), "picture");
  scene->setValue(value(1.0), "secret");
  const std::string name = "-[VuoGLScene setValue:forInputKey:]";
  EXPECT_THAT(log.drain(),
              ElementsAre("\t\tERR: bailing, can't call " + name + " for an image",
                          "\t\tERR: bailing, can't call " + name + " for an undefined port type"));

  scripted::script().outputs["sum"] = "2.5";
  EXPECT_EQ(*scene->allocValueForOutputKey("sum").value, ZQVuoPortValue("2.5"));
  EXPECT_EQ(scripted::takeCalls().back(), "cocoa VuoReal");
  scripted::script().throwing = {"textJson"};
  scene->setValue(value("text"), "name");
  EXPECT_EQ(log.drain().size(), 1u);
  EXPECT_EQ(scripted::liveImages(), 1);  // the picture alone: the text is gone
  scripted::script().throwing = {};
  EXPECT_FALSE(scene->allocValueForOutputKey("other"));
  for (const char* throwing : {"findInput", "set", "fire"}) {
    scripted::script().throwing = {throwing};
    scene->setValue(value(1.0), "level");
    EXPECT_THAT(log.drain(), ElementsAre("\t\terr: caught exception in " + name)) << throwing;
  }
}

TEST_F(Scene, LosesContactOnceAndLoadsAgain) {
  load(generator);
  scripted::report("sum", true);
  std::thread([] { scripted::delegate()->lostContactWithComposition(); }).join();
  EXPECT_TRUE(scene->readyToRender());
  serveMainQueueUntil([&] { return !scene->readyToRender(); });
  EXPECT_THAT(log.drain(),
              ElementsAre("\t\terr: -[VuoGLScene runnerDelegateLostContactWithComposition], file "
                          "was clouds.vuo"));
  EXPECT_FALSE(scene->filePath() || scene->comp());
  EXPECT_THAT(scene->copyAndClearOutValPortNames(), ElementsAre("sum"));
  EXPECT_TRUE(scene->runnerNewProcess());
  EXPECT_EQ(scene->size(), (ZQSize{640.9, 360.5}));
  platform::finishQueues();
  load(generator);
  EXPECT_TRUE(scene->readyToRender());
  platform::postNotification(platform::NSApplicationWillTerminateNotification);
  EXPECT_FALSE(scene->readyToRender());
}

TEST_F(Scene, TellsARequestWhyItFindsNothingWhileTheLossIsHandled) {
  scripted::script().comesUp = true;
  load(generator);
  std::string message;
  platform::setLogSink([&](const std::string&) {  // it has been unloaded, and more is to be done
    std::thread([&] {
      message = scene->takeFrame(scene->askForFrame({}), std::chrono::seconds(0)).message;
    }).join();
  });
  scripted::delegate()->lostContactWithComposition();
  serveMainQueueUntil([&] { return !scene->readyToRender(); });
  platform::setLogSink({});
  EXPECT_THAT(message, testing::HasSubstr("scripted loss"));
}

TEST_F(Scene, LendsFramesToAFilterAndTakesThemBack) {
  load(filter);
  scripted::report("outputImage", true);
  scripted::takeCalls();
  ZQBufferRef frame = ZQBufferRef::adopt(ZQBuffer::initWithPool(sharedPool()));
  frame->descriptorPtr()->target = 0x84F5;
  frame->descriptorPtr()->name = 9;
  frame->descriptorPtr()->internalFormat = (std::int64_t{5} << 32) | 77;  // the low half counts
  frame->setSrcRect({10, 20, 640.9, 480.2});
  {
    const ZQBufferRef filtered = scene->runFilterOnFrame(frame);
    EXPECT_EQ(filtered->backingReleaseCallbackContext(), picture);
    EXPECT_THAT(scripted::takeCalls(),
                testing::IsSupersetOf({"fire time", "makeRectangle 9 77 640x480",
                                       "interprocessImageJson", "fire image"}));
    EXPECT_EQ(frame->retainCount(), 1);

    scene->setRunnerNewProcess(false);
    (void)scene->runFilterOnFrame(filtered);
    EXPECT_EQ(filtered->retainCount(), 1);
    const auto calls = scripted::takeCalls();
    EXPECT_THAT(calls, testing::Contains("imageJson").Times(2));  // the frame in, the picture out
    EXPECT_THAT(calls, testing::Contains("set image " +
                                         std::to_string(reinterpret_cast<std::int64_t>(picture))));
  }
  frame->descriptorPtr()->target = 0x0DE1;
  frame->setSrcRect({0, 0, 1e19, -1});
  (void)scene->runFilterOnFrame(frame);
  EXPECT_THAT(scripted::takeCalls(), testing::Contains("make2D 9 77 10000000000000000000x0"));
  load(generator);
  EXPECT_EQ(scene->runFilterOnFrame(frame), frame);
  EXPECT_THAT(scripted::takeCalls(), IsEmpty());
}

TEST_F(Scene, RefusesSmallSizesAndFollowsLaterOnes) {
  EXPECT_FALSE(VuoGLScene::initWithSize(10, 0.5));
  log.drain();
  EXPECT_FALSE(VuoGLScene::initWithSize(0.5, 10));
  EXPECT_THAT(log.drain(), ElementsAre("\t\terr: -[VuoGLScene initWithSize:] - BAIL"));
  EXPECT_TRUE(VuoGLScene::initWithSize(1, 1));
  load(generator);
  scene->setSize(640.9, 360.5);
  EXPECT_THAT(scripted::takeCalls(), IsEmpty());
  scripted::script().inputs.erase("width");
  scene->setSize(0, 0);
  EXPECT_THAT(scripted::takeCalls(), ElementsAre("findInput width", "findInput height",
                                                 "set height 0.0", "fire height", "fire"));
  EXPECT_THAT(log.drain(),
              ElementsAre("\t\terr: no width port, -[VuoGLScene _applySize] - " + generator));
}

TEST_F(Scene, LogsWhatGoesWrongOnTheWayToARunner) {
  const std::string available = "-[VuoGLScene _cachedItemAvailable:]";
  const std::string notLoaded = "\t\terr: caught exception trying to load .vuo comp! " + available;
  const auto loadFreshly = [&](const std::string& file) {
    scene->useFile(std::nullopt);
    platform::finishQueues();
    log.drain();
    scene->useFile(file);
    return log.drain();
  };
  for (const char* throwing : {"setDelegate", "start"}) {
    scripted::script().throwing = {throwing};
    EXPECT_THAT(loadFreshly(generator), ElementsAre(notLoaded)) << throwing;
    EXPECT_TRUE(scene->readyToRender());
  }
  scripted::script().throwing = {"newSeparate"};
  EXPECT_THAT(loadFreshly(generator), ElementsAre(notLoaded));
  EXPECT_FALSE(scene->readyToRender());
  scripted::script().throwing = {};
  scripted::script().yieldsRunner = false;
  EXPECT_THAT(loadFreshly(generator), IsEmpty());
  EXPECT_FALSE(scene->readyToRender());
  scripted::script().yieldsRunner = true;
  scripted::script().throwing = {"compile"};
  EXPECT_THAT(loadFreshly(folder.write("new.vuo", kGenerator)), IsEmpty());
  EXPECT_FALSE(scene->readyToRender());
  scripted::script().throwing = {};

  bool served = false;
  const auto serve = [&] {
    served = false;
    VuoCache::fetchCachedExeForVuoFile(generator, [&](VuoCache::Item) { served = true; });
    serveMainQueueUntil([&] { return served; });
    return log.drain();
  };
  scene->useFile(generator, true);
  scene->useFile(std::nullopt);
  EXPECT_THAT(serve(), ElementsAre("\t\terr: the file i should be using is nil, " + available));
  scene->useFile(generator, true);
  scene->setRunnerNewProcess(false);
  EXPECT_THAT(serve(),
              ElementsAre("\t\terr: problem with cached path, (null). src is " + generator +
                          ", should be loading " + generator + ".  " + available));
  scene->useFile(generator, true);
  scene->prepareToBeDeleted();
  EXPECT_THAT(serve(), IsEmpty());
}

TEST_F(Scene, LogsWhatTheSizeLacks) {
  const std::string where = ", -[VuoGLScene _applySize] - " + generator;
  load(generator);
  double width = 1;
  const auto push = [&] {
    scene->setSize(++width, 1);
    return log.drain();
  };
  scripted::script().inputs = {};
  EXPECT_THAT(push(),
              ElementsAre("\t\terr: no width port" + where, "\t\terr: no height port" + where));
  scripted::script().inputs = {"width", "height"};
  scripted::script().yieldsJson = false;
  scripted::takeCalls();
  EXPECT_THAT(push(), ElementsAre("\t\terr: no width port val" + where,
                                  "\t\terr: no height port val" + where));
  EXPECT_EQ(scripted::takeCalls().back(), "fire");
  scripted::script().yieldsJson = true;
  for (const char* throwing : {"findInput", "set", "fire"}) {
    scripted::script().throwing = {throwing};
    EXPECT_THAT(push(), ElementsAre("\t\terr: caught exception in -[VuoGLScene _applySize]"));
  }
  scripted::script().throwing = {};
  load(filter);
  scene->setSize(++width, 2);
  const std::string there = " name, -[VuoGLScene _applySize] - " + filter;
  EXPECT_THAT(log.drain(),
              ElementsAre("\t\terr: no width port" + there, "\t\terr: no height port" + there));
}

TEST_F(Scene, LogsWhatFramesRunInto) {
  const std::string start = "-[VuoGLScene startRendering]", current = "-[VuoGLScene allocABuffer]",
                    render = "-[VuoGLScene allocAndRenderABuffer]",
                    run = "-[VuoGLScene runFilterOnFrame:]";
  const ZQBufferRef frame = ZQBufferRef::adopt(ZQBuffer::initWithPool(sharedPool()));
  frame->descriptorPtr()->target = 0x0DE1;
  frame->setSrcRect({0, 0, 4, 4});
  const auto all = [&] {
    scene->startRendering();
    EXPECT_FALSE(scene->allocABuffer());
    EXPECT_FALSE(scene->allocAndRenderABuffer());
    return log.drain();
  };
  const std::string nil = "\t\terr: bailing, localComp nil, ";
  EXPECT_THAT(all(), ElementsAre(nil + start, nil + current, nil + render));
  EXPECT_EQ(scene->runFilterOnFrame(frame), frame);
  EXPECT_FALSE(scene->runFilterOnFrame(nullptr));

  load(generator);
  scripted::script().throwing = {"fire"};
  scene->startRendering();
  EXPECT_TRUE(scene->allocAndRenderABuffer());
  const std::string caught = "\t\terr: caught exception in ";
  EXPECT_THAT(log.drain(), ElementsAre(caught + start, caught + render));
  scripted::script().throwing = {};

  load(filter);
  const auto before = std::chrono::steady_clock::now();
  EXPECT_FALSE(scene->runFilterOnFrame(frame));
  EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(50));
  EXPECT_THAT(log.drain(), ElementsAre("\t\tERR: frame took too long to render, blur.vuo, " + run));
  scripted::report("outputImage", true);
  scripted::script().throwing = {"fire"};
  EXPECT_TRUE(scene->runFilterOnFrame(frame));
  EXPECT_THAT(log.drain(), ElementsAre("\t\terr: caught exception A in " + run,
                                       "\t\terr: caught exception B in " + run));
  scripted::script().throwing = {};
  scripted::script().yieldsImage = false;
  scripted::takeCalls();
  EXPECT_TRUE(scene->runFilterOnFrame(frame));
  EXPECT_THAT(scripted::takeCalls(), testing::Not(testing::Contains("fire image")));
  EXPECT_EQ(frame->retainCount(), 1);
  scripted::script().yieldsImage = true;

  scene->prepareToBeDeleted();
  const std::string gone = "\t\terr: bailing immediately, ";
  EXPECT_THAT(all(), ElementsAre(gone + start, gone + current, gone + render));
  EXPECT_FALSE(scene->runFilterOnFrame(frame));
  EXPECT_THAT(log.drain(), IsEmpty());
  EXPECT_FALSE(scene->readyToRender() || scene->filePath());
}

TEST_F(Scene, EndsSilentlyWhereThereIsNothingToCarry) {
  load(generator);
  const ZQBufferRef image = ZQBufferRef::adopt(ZQBuffer::initWithPool(sharedPool()));
  const std::string setBuffer = "-[VuoGLScene setBuffer:forInputImageKey:]",
                    alloc = "-[VuoGLScene allocValueForOutputKey:]";
  const auto one = std::make_shared<const ZQVuoPortValue>(1);
  image->setSrcRect({0, 0, 4, 4});
  scene->setBuffer(image, "picture");  // of no texture target that is known
  image->descriptorPtr()->target = 0x0DE1;
  scene->setBuffer(image, "level");
  scene->setBuffer(image, "nowhere");
  scene->setBuffer(nullptr, "picture");
  scripted::script().yieldsJson = false;
  scene->setBuffer(image, "picture");
  scene->setValue(one, "level");
  scripted::script().yieldsJson = true;
  auto calls = scripted::takeCalls();
  std::erase_if(calls, [](const auto& call) { return !call.starts_with("fire"); });
  EXPECT_THAT(calls, IsEmpty());
  scene->setBuffer(image, "picture");
  EXPECT_THAT(scripted::takeCalls(), testing::Contains("fire picture"));
  EXPECT_EQ(image->retainCount(), 1);

  scripted::script().outputs = {{"sum", ""}, {"secret", "1"}};
  EXPECT_FALSE(scene->allocValueForOutputKey("sum"));
  EXPECT_FALSE(scene->allocValueForOutputKey(std::nullopt));
  scripted::script().imageOutputs["outputImage"] = nullptr;
  EXPECT_FALSE(scene->allocABuffer());
  scripted::script().imageOutputs["outputImage"] = picture;
  _globalZQBufferPool = nullptr;
  EXPECT_FALSE(scene->allocABuffer());
  EXPECT_EQ(scripted::retainsOf(picture), 1);
  EXPECT_THAT(log.drain(), IsEmpty());

  EXPECT_FALSE(scene->allocValueForOutputKey("secret"));
  EXPECT_THAT(log.drain(),
              ElementsAre("\t\tERR: bailing, can't call " + alloc + " for an undefined port type"));
  scripted::script().throwing = {"set", "get"};
  scene->setBuffer(image, "picture");
  EXPECT_FALSE(scene->allocABuffer());
  EXPECT_THAT(log.drain(), ElementsAre("\t\terr: caught exception in " + setBuffer,
                                       "\t\terr: caught exception in " + alloc));
  EXPECT_EQ(image->retainCount(), 1);
}

TEST_F(Scene, OutlivesARuntimeThatRaisesWhileItCounts) {
  auto& script = scripted::script();
  const auto text = std::make_shared<const ZQVuoPortValue>("text");
  const ZQBufferRef frame = ZQBufferRef::adopt(ZQBuffer::initWithPool(sharedPool()));
  frame->descriptorPtr()->target = 0x0DE1;
  frame->setSrcRect({0, 0, 4, 4});
  VuoFrameRequest request;
  request.values["name"] = text;
  request.images["picture"] = frame;
  double width = 1;
  const struct {
    const char* name;
    std::function<void()> operation;
    std::vector<std::string> raising;
  } rows[] = {
      {"-[VuoGLScene setValue:forInputKey:]",
       [&] { scene->setValue(text, "name"); },
       {"retain", "release", "put"}},
      {"-[VuoGLScene setBuffer:forInputImageKey:]",
       [&] { scene->setBuffer(frame, "picture"); },
       {"retain", "release", "put"}},
      {"-[VuoGLScene allocValueForOutputKey:]",
       [&] { EXPECT_FALSE(scene->allocABuffer()); },
       {"retain", "second retain", "put"}},
      {"-[VuoGLScene startRendering]", [&] { scene->startRendering(); }, {"put"}},
      {"-[VuoGLScene _applySize]", [&] { scene->setSize(++width, 1); }, {"put"}},
      {"-[VuoGLScene askForFrame:]",
       [&] { (void)scene->askForFrame(request); },
       {"retain", "release", "put"}},
      {"-[VuoGLScene takeFrame:longest:]",
       [&] { EXPECT_FALSE(scene->renderFrame({}, std::nullopt).buffer); },
       {"second retain"}},
  };
  load(generator);
  for (const auto& row : rows)
    for (const std::string& word : row.raising) {
      script.throwing = {word};
      script.retainThatThrows = word == "retain" ? 1 : word == "second retain" ? 2 : 0;
      scripted::takeCalls();
      row.operation();
      script.throwing = {};
      EXPECT_THAT(log.drain(), ElementsAre(std::string("\t\terr: caught exception in ") + row.name))
          << word;
      EXPECT_EQ(scripted::liveImages(), 1);
      EXPECT_EQ(scripted::retainsOf(picture), 1);
      EXPECT_EQ(frame->retainCount(), 2);  // the request's too
    }

  script.throwing = {"put"};
  scripted::takeCalls();
  scene->setSize(++width, 1);  // nothing follows what raised
  EXPECT_EQ(scripted::takeCalls().back(), "fire width");
  script.throwing = {};
  log.drain();

  load(filter);
  platform::finishQueues();  // the old runner's end reads the script
  scripted::report("outputImage", true);
  for (const char* word : {"retain", "release"}) {
    script.retainThatThrows = word == std::string("retain") ? 1 : 0;
    script.throwing = {word};
    (void)scene->runFilterOnFrame(frame);
    EXPECT_EQ(log.drain().front(),
              "\t\terr: caught exception B in -[VuoGLScene runFilterOnFrame:]");
    script.throwing = {};
  }
  ZQBufferRef held = scene->allocABuffer();
  script.throwing = {"release"};
  held = nullptr;
  EXPECT_THAT(log.drain(), ElementsAre("\t\terr: caught exception in ZQBuffer_ReleaseVuoImage"));
  script.throwing = {};
}

TEST_F(Scene, KeepsEachReportedNameOnce) {
  load(generator);
  for (int i = 0; i < 10; ++i) scripted::report("sum", true);
  scripted::report("outputImage", true);
  scripted::report("sum", false);
  scripted::report("\xff", true);
  EXPECT_THAT(scene->copyAndClearOutValPortNames(), ElementsAre("sum", "outputImage"));
  EXPECT_THAT(scene->copyAndClearOutEventPortNames(), ElementsAre("sum"));
  EXPECT_THAT(scene->copyAndClearOutValPortNames(), IsEmpty());

  // The old runner still reports while it is being stopped.
  std::latch stopping(1), stopped(1);
  scripted::script().during["removeDelegate"] = [&] {
    stopping.count_down();
    stopped.wait();
  };
  scene->prepareToBeDeleted();
  stopping.wait();
  scripted::report("sum", true);
  scripted::delegate()->lostContactWithComposition();
  EXPECT_THAT(scene->copyAndClearOutValPortNames(), IsEmpty());
  bool marked = false;  // behind the lost contact, which must pass without a word
  platform::MainQueue::shared().after(std::chrono::nanoseconds(10'000), [&] { marked = true; });
  serveMainQueueUntil([&] { return marked; });
  const std::weak_ptr<VuoGLScene> weak = scene;
  scene.reset();
  EXPECT_TRUE(weak.expired());
  scripted::report("sum", true);
  stopped.count_down();
  platform::finishQueues();
  EXPECT_THAT(log.drain(), IsEmpty());
}

TEST(Bridge, LendsAnImageToABuffer) {
  scripted::reset();
  const auto root = brannow::GLContext::createRoot();
  const auto pool = ZQBufferPool::create(root->handle());
  const VuoImage image = scripted::makeImage(1920, 1080, 0x84F5);
  {
    const ZQBufferRef buffer = allocBufferFromVuoImage(pool.get(), image);
    const ZQBufferDescriptor& d = *buffer->descriptorPtr();
    EXPECT_EQ(d.kind, 3);
    EXPECT_EQ(d.target, 0x84F5u);
    EXPECT_EQ(d.internalFormat, 0x1907);
    EXPECT_EQ(d.pixelFormat, 0x1908);
    EXPECT_EQ(d.pixelType, 0x8367);
    EXPECT_EQ(d.memoryBacking, 0);
    EXPECT_EQ(d.textureBacking, 2);
    EXPECT_EQ(d.name, 7u);
    EXPECT_EQ(buffer->backingSize(), (ZQSize{1920, 1080}));
    EXPECT_TRUE(buffer->preferDeletion());
    EXPECT_NE(buffer->timestamp(), 0);
    EXPECT_EQ(scripted::retainsOf(image), 2);
  }
  EXPECT_FALSE(allocBufferFromVuoImage(pool.get(), nullptr));
  pool->prepareToBeDeleted();
  EXPECT_FALSE(allocBufferFromVuoImage(pool.get(), image));
  EXPECT_EQ(scripted::retainsOf(image), 1);
  ZQBuffer_ReleaseVuoImage(nullptr, nullptr);
  VuoCallback_FreeBackingForVuoImage(image);
  VuoRelease(image);
  EXPECT_EQ(scripted::liveImages(), 0);
}

}  // namespace
