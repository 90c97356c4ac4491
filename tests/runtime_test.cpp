// The runner: compositions in this process and in one of their own.
#include <gmock/gmock.h>
#include <json-c/json.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cmath>
#include <filesystem>
#include <future>
#include <sstream>
#include <thread>

extern "C" {  // the header of glibc 2.36 does not say so itself
#include <sys/pidfd.h>
}

#include "Brannow/ZQBufferPool.h"
#include "platform/system/FileDescriptor.h"
#include "platform/system/JsonOwner.h"
#include "platform/system/Mutex.h"
#include "runtime/VuoArtefact.h"
#include "runtime/VuoGlContext.h"
#include "runtime/VuoHeap.h"
#include "runtime/VuoImage.h"
#include "runtime/VuoPlan.h"
#include "runtime/VuoRunnerCocoa.h"
#include "runtime/VuoRunnerDelegate.h"
#include "runtime/VuoValues.h"
#include "runtime/textures/TexturePool.h"
#include "runtime/transport/MessageSocket.h"
#include "runtime/transport/Messages.h"
#include "runtime/transport/Protocol.h"
#include "tests/TestSupport.h"

namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::Ge;
using testing::HasSubstr;
using vuo::Cable;
using vuo::Node;
using vuo::NodeKind;
using vuo::Plan;
using vuo::Port;
using vuo::Type;

constexpr std::uint32_t kTexture2D = 0x0DE1, kTextureRectangle = 0x84F5;
constexpr int kPublished = vuo::Source::PublishedInputs;

std::string contentsOf(const std::string& path) {
  std::ostringstream contents;
  contents << std::ifstream(path, std::ios::binary).rdbuf();
  return contents.str();
}

Port port(const std::string& name, Type type, const std::string& constant = "") {
  return {name, type, constant, {}};
}
Port cabled(const std::string& name, Type type, std::vector<Cable> cables) {
  return {name, type, "", std::move(cables)};
}
Node expression(const std::string& formula, std::vector<Port> inputs) {
  return {formula, NodeKind::Expression, std::move(inputs), {port("result", Type::Real)}, formula};
}
Node shader(const std::string& name, const std::string& body, std::vector<Port> inputs) {
  return {name,
          NodeKind::Shader,
          std::move(inputs),
          {port("image", Type::Image)},
          "#version 330 core\nin vec2 uv;\nout vec4 pixel;\n" + body};
}

/// One published input that goes straight to a published output, and as an event to another one.
Plan straight(Type type) {
  return {
      "straight",
      {port("in", type)},
      {},
      {cabled("out", type, {{{kPublished, 0}}}), cabled("event", type, {{{kPublished, 0}, true}})}};
}

/// Collects what a runner reports: "name", "name (event)", "dropped", "lost", or a fault; apart
/// from that "up", "overdue" and "caught up".
class Recorder : public VuoRunnerDelegate, public VuoRunner::Watcher {
 public:
  void receivedTelemetryPublishedOutputPortUpdated(VuoRunner::Port* updated, bool sentData,
                                                   std::string) override {
    if (onReport) onReport();
    add(updated->getName() + (sentData ? "" : " (event)"));
  }
  void receivedTelemetryEventDropped(VuoRunner::Port*) override { add("dropped"); }
  void receivedTelemetryError(std::string message) override { add(message); }
  void lostContactWithComposition() override { add("lost"); }
  void cameUp() override { add("up", _states); }
  void isOverdue(std::chrono::nanoseconds) override { add("overdue", _states); }
  void hasCaughtUp() override { add("caught up", _states); }

  /// Waits for that many reports and takes them out.
  std::vector<std::string> await(std::size_t count) { return await(count, _reports); }
  std::vector<std::string> awaitStates(std::size_t count) { return await(count, _states); }

  std::function<void()> onReport;

 private:
  using Reports = std::vector<std::string>;
  void add(const std::string& report) { add(report, _reports); }
  void add(const std::string& report, Reports& reports) {
    platform::LockGuard hold(_lock);
    reports.push_back(report);
    _changed.notify_all();
  }
  Reports await(std::size_t count, Reports& reports) {
    platform::UniqueLock hold(_lock);
    while (reports.size() < count) _changed.wait(hold);
    return std::exchange(reports, {});
  }
  platform::Mutex _lock;
  platform::ConditionVariable _changed;
  Reports _reports, _states;
};

/// A composition that has been started.
class Running {
 public:
  Running(const TestFolder& folder, const Plan& plan, bool ownProcess,
          const std::string& name = "artefact")
      : Running(write(folder, plan, ownProcess, name), folder.path, ownProcess) {}
  Running(const std::string& artefact, const std::string& folder, bool ownProcess)
      : runner(
            ownProcess
                ? VuoRunner::newSeparateProcessRunnerFromExecutable(artefact, folder, false, false)
                : VuoRunner::newCurrentProcessRunnerFromDynamicLibrary(artefact, folder, false)) {
    runner->setDelegate(&recorder);
    runner->setWatcher(watcher);
    runner->start();
  }

  static std::string write(const TestFolder& folder, const Plan& plan, bool ownProcess,
                           const std::string& name) {
    const std::string line = ownProcess ? vuo::executableLine("/bin/false") : "";
    // Renamed into its place, as the cache does: a player that is starting may still read another.
    fs::rename(folder.write(name + ".new", vuo::artefactOf(vuo::serialized(plan), line)),
               folder.path + "/" + name);
    return folder.path + "/" + name;
  }

  void set(const std::string& input, json_object* value) {
    const platform::JsonOwner owner(value);
    runner->setPublishedInputPortValue(runner->getPublishedInputPortWithName(input), value);
  }
  void fire(const std::string& input) {
    runner->firePublishedInputPortEvent(runner->getPublishedInputPortWithName(input));
  }
  json_object* value(const std::string& output) {
    return runner->getPublishedOutputPortValue(runner->getPublishedOutputPortWithName(output));
  }
  std::string text(const std::string& output) {
    json_object* json = value(output);
    const std::string text = json_object_to_json_string_ext(json, JSON_C_TO_STRING_PLAIN);
    json_object_put(json);
    return text;
  }

  void comeUp() { EXPECT_THAT(recorder.awaitStates(1), ElementsAre("up")); }

  const std::shared_ptr<Recorder> watcher = std::make_shared<Recorder>();
  Recorder& recorder = *watcher;  // outlives the runner
  std::unique_ptr<VuoRunner> runner;
};

std::vector<pid_t> childrenOf(pid_t parent) {
  std::vector<pid_t> children;
  for (const auto& entry : fs::directory_iterator("/proc")) {
    const std::string name = entry.path().filename();
    const std::string stat = contentsOf(entry.path() / "stat");
    std::istringstream fields(stat.substr(std::min(stat.rfind(')') + 1, stat.size())));
    char state;
    pid_t itsParent = 0;
    if (std::isdigit(name[0]) && fields >> state >> itsParent && itsParent == parent)
      children.push_back(std::stoi(name));
  }
  return children;
}

class RuntimeTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    static const auto context = brannow::GLContext::createRoot();
    root = context->handle();
    VuoGlContext_setGlobalRootContext(root);
  }

  ZQPixels pixelsOf(VuoImage image) const {
    const auto buffer = ZQBufferRef::adopt(ZQBuffer::initWithPool(pool.get()));
    buffer->descriptorPtr()->target = image->glTextureTarget;
    buffer->descriptorPtr()->name = image->glTextureName;
    buffer->descriptorPtr()->textureBacking = ZQTextureBacking_External;
    buffer->setSrcRect({0, 0, double(image->pixelsWide), double(image->pixelsHigh)});
    return pool->readPixels(*buffer);
  }
  /// The picture that an output shows.
  ZQPixels picture(Running& running, const std::string& output) const {
    json_object* json = running.value(output);
    const VuoImage image = VuoImage_makeFromJson(json);
    const ZQPixels pixels = image ? pixelsOf(image) : ZQPixels();
    json_object_put(json);
    return pixels;
  }
  /// A host's picture as a composition's input; two by two, with different rows.
  json_object* hostImage(std::uint32_t target, bool ownProcess) const {
    const ZQPixels pixels{2, 2, {255, 0, 0, 255, 0, 255, 0, 255, 0, 0, 255, 255, 9, 9, 9, 9}};
    ZQBufferRef buffer = pool->allocBufferWithPixels(pixels, target);
    const auto make = target == kTexture2D ? VuoImage_makeClientOwned
                                           : VuoImage_makeClientOwnedGlTextureRectangle;
    const auto giveBack = [](VuoImage image) {
      static_cast<ZQBuffer*>(image->freeCallbackContext)->release();
    };
    const VuoImage image = make(buffer->name(), 0x8058, 2, 2, giveBack, buffer.get());
    buffer->retain();
    VuoRetain(image);
    json_object* json = ownProcess ? VuoImage_getInterprocessJson(image) : VuoImage_getJson(image);
    VuoRelease(image);
    return json;
  }

  inline static brannow::GLContextHandle root;
  TestFolder folder;
  std::unique_ptr<ZQBufferPool> pool = ZQBufferPool::create(root);
};

class BothModes : public RuntimeTest, public testing::WithParamInterface<bool> {};
INSTANTIATE_TEST_SUITE_P(Runtime, BothModes, testing::Bool(), [](const auto& mode) {
  return mode.param ? "OwnProcess" : "ThisProcess";
});

TEST_P(BothModes, EveryKindOfValueGoesThroughUnchanged) {
  const struct {
    Type type;
    std::string json;
    ZQVuoPortValue host;
  } cases[] = {
      {Type::Real, "-0.1", -0.1},
      {Type::Real, "1e+300", 1e300},
      {Type::Integer, "9223372036854775807", std::int64_t{9223372036854775807}},
      {Type::Boolean, "true", true},
      {Type::Color, R"({"r":0.1,"g":2,"b":-1,"a":0})", ZQVuoColor{0.1f, 2, -1, 0}},
      {Type::Point2d, R"({"x":1.5,"y":-3e10})", ZQVuoPoint{1.5, -3e10f}},
      {Type::Text, R"("a\u0000b \"ü\"\n")", std::string("a\0b \"ü\"\n", 9)},
      {Type::Text, "\"" + std::string(1'000'000, 'x') + "\"", std::string(1'000'000, 'x')},
  };
  for (const auto& [type, json, host] : cases) {
    Running running(folder, straight(type), GetParam());
    EXPECT_EQ(running.value("out"), nullptr);
    running.set("in", json_tokener_parse(json.c_str()));
    running.fire("in");
    EXPECT_THAT(running.recorder.await(2), ElementsAre("out", "event (event)"));
    json_object* value = running.value("out");
    const auto object = VuoRunnerCocoa::cocoaObjectWithVuoValue(value, vuo::typeName(type));
    json_object_put(value);
    ASSERT_TRUE(object) << json;
    EXPECT_EQ(*object, host) << json.substr(0, 99);
    EXPECT_EQ(running.value("event"), nullptr);
    EXPECT_THROW(running.set("in", json_tokener_parse("[]")), std::runtime_error);
  }
}

TEST_P(BothModes, EventsRunInOrderAndReachEachOutputOnce) {
  // twice = 2 * (a + b); "both" is reached along two ways, "note" by an event alone.
  const Plan plan{
      "order",
      {port("a", Type::Integer, "1"), port("b", Type::Real, "10"), port("c", Type::Boolean)},
      {expression("x+1", {port("x", Type::Real, "41")}),
       expression("a+b", {cabled("a", Type::Real, {{{kPublished, 0}}}),
                          cabled("b", Type::Real, {{{kPublished, 1}}})}),
       expression("2*s+0*f", {cabled("s", Type::Real, {{{1, 0}}, {{kPublished, 0}, true}}),
                              cabled("f", Type::Real, {{{0, 0}}})})},
      {cabled("both", Type::Integer, {{{2, 0}}}),
       cabled("note", Type::Real, {{{0, 0}}, {{kPublished, 1}, true}}),
       cabled("c", Type::Real, {{{kPublished, 2}}})}};
  Running running(folder, plan, GetParam());
  std::vector<std::string> seen;
  running.recorder.onReport = [&] { seen.push_back(running.text("both")); };

  running.set("b", VuoReal_getJson(0.75));  // without an event: there for the next run
  running.fire("a");
  EXPECT_THAT(running.recorder.await(1), ElementsAre("both"));
  running.fire("b");
  EXPECT_THAT(running.recorder.await(2), ElementsAre("both", "note (event)"));
  EXPECT_EQ(running.value("note"), nullptr);
  running.runner->firePublishedInputPortEvent();
  EXPECT_THAT(running.recorder.await(3), ElementsAre("both", "note (event)", "c"));
  EXPECT_EQ(running.text("c"), "0.0");

  seen.clear();
  std::vector<std::string> expected;
  for (int i = 0; i < 100; ++i) {
    running.set("a", VuoInteger_getJson(-1));
    running.set("a", VuoInteger_getJson(i));
    running.fire("a");
    expected.push_back(std::to_string(2 * i + 1));  // 2 * 0.75, toward zero
  }
  EXPECT_THAT(running.recorder.await(100), Each("both"));
  running.runner->setDelegate(nullptr);
  EXPECT_EQ(seen, expected);
}

TEST_P(BothModes, EventsBeyondTheBacklogAreDroppedAndReported) {
  Running running(folder, straight(Type::Integer), GetParam());
  std::promise<void> promise;
  running.recorder.onReport = [&, go = promise.get_future().share()] { go.wait(); };
  constexpr int count = 2000;
  for (int i = 1; i <= count; ++i) {
    running.set("in", VuoInteger_getJson(i));
    running.fire("in");
  }
  promise.set_value();
  std::vector<std::string> reports;
  const auto all = [&] {
    const auto dropped = std::count(reports.begin(), reports.end(), "dropped");
    return dropped + (static_cast<long>(reports.size()) - dropped) / 2;
  };
  while (all() < count)
    for (auto& report : running.recorder.await(1)) reports.push_back(report);
  EXPECT_EQ(all(), count);
  EXPECT_THAT(reports, testing::Contains("dropped").Times(Ge(count / 2)));
  running.fire("in");  // the value that was set last was not dropped with its event
  running.recorder.await(2);
  EXPECT_EQ(running.text("out"), std::to_string(count));
}

TEST_P(BothModes, PicturesAreDrawnTheSameEverywhere) {
  fs::copy_file(fs::path(COMPOSITIONS_DIR) / "picture.png", folder.path + "/p.png");
  fs::create_symlink(fs::path(COMPOSITIONS_DIR) / "picture.png", folder.path + "/none.png");
  const std::vector<Port> sized{cabled("width", Type::Integer, {{{kPublished, 0}}}),
                                port("height", Type::Integer, "2"),
                                cabled("width", Type::Real, {{{kPublished, 0}}}),
                                port("tint", Type::Color, R"({"r":0,"g":0,"b":1,"a":1})")};
  const Plan plan{
      "pictures",
      {port("width", Type::Real, "4.9"), port("image", Type::Image)},
      {shader("ramp",
              "uniform float width; uniform vec4 tint;\n"
              "void main() { pixel = vec4(uv, 0, width / 5.0) + tint * 0.2; }",
              sized),
       shader("copy", "uniform sampler2D image; void main() { pixel = texture(image, uv); }",
              {port("width", Type::Integer), port("height", Type::Integer),
               cabled("image", Type::Image, {{{kPublished, 1}}})}),
       {"file", NodeKind::ImageFile, {}, {port("image", Type::Image)}, "p.png"},
       {"none", NodeKind::ImageFile, {}, {port("image", Type::Image)}, "none.png"},
       shader("files",
              "uniform sampler2D a, b; void main() { pixel = texture(a, uv) + "
              "texture(b, uv); }",
              {port("width", Type::Integer), port("height", Type::Integer),
               cabled("a", Type::Image, {{{2, 0}}, {{kPublished, 0}, true}}),
               cabled("b", Type::Image, {{{3, 0}}})})},
      {cabled("ramp", Type::Image, {{{0, 0}}}), cabled("copy", Type::Image, {{{1, 0}}}),
       cabled("files", Type::Image, {{{4, 0}}})}};
  Running running(folder, plan, GetParam());
  running.fire("width");
  EXPECT_THAT(
      running.recorder.await(3),
      ElementsAre(AllOf(HasSubstr("\"none\""), HasSubstr("none.png leads out")), "ramp", "files"));
  const ZQPixels ramp = picture(running, "ramp");
  ASSERT_EQ(std::pair(ramp.width, ramp.height), std::pair(std::size_t{4}, std::size_t{2}));
  EXPECT_THAT(std::vector(ramp.rgba.begin(), ramp.rgba.begin() + 4), ElementsAre(32, 191, 51, 255));
  const ZQPixels file = picture(running, "files");
  EXPECT_THAT(file.rgba, testing::Contains(AllOf(Ge(1), testing::Le(254))));

  ZQPixels copies[2];
  for (const std::uint32_t target : {kTexture2D, kTextureRectangle}) {
    running.set("image", hostImage(target, GetParam()));
    running.fire("image");
    EXPECT_THAT(running.recorder.await(1), ElementsAre("copy"));
    EXPECT_THAT(picture(running, "copy").rgba,
                ElementsAre(255, 0, 0, 255, 0, 255, 0, 255, 0, 0, 255, 255, 9, 9, 9, 9));
  }
  running.set("image", hostImage(kTexture2D, !GetParam()));  // made for the other mode
  running.set("image", nullptr);
  running.fire("image");
  running.recorder.await(1);
  EXPECT_THAT(picture(running, "copy").rgba, ElementsAre(0, 0, 0, 0));

  static const ZQPixels firstModesFile = file, firstModesRamp = ramp;
  EXPECT_EQ(file, firstModesFile);
  EXPECT_EQ(ramp, firstModesRamp);
}

TEST_P(BothModes, ImagesOutliveTheirRunnerAndLeaveNoTexture) {
  const long before = vuo::TexturePool::liveTextures();
  json_object* json = nullptr;
  {
    const Plan plan{"one",
                    {port("t", Type::Real)},
                    {shader("s", "void main() { pixel = vec4(1); }",
                            {port("width", Type::Integer, "64"),
                             cabled("height", Type::Integer, {{{kPublished, 0}}})})},
                    {cabled("image", Type::Image, {{{0, 0}}})}};
    Running running(folder, plan, GetParam());
    for (int height = 1; height < 50; ++height) {
      running.set("t", VuoReal_getJson(height));
      running.fire("t");
      running.recorder.await(1);
    }
    EXPECT_LT(vuo::TexturePool::liveTextures(), before + 40) << "old sizes are given up";
    json = running.value("image");
  }
  EXPECT_EQ(vuo::TexturePool::liveTextures(), before + 1);
  EXPECT_THAT(pixelsOf(VuoImage_makeFromJson(json)).rgba, Each(255));
  std::thread([&] { json_object_put(json); }).join();
  EXPECT_EQ(vuo::TexturePool::liveTextures(), before);
}

TEST_P(BothModes, WhatCantRunSaysWhy) {
  Plan plan = straight(Type::Real);
  plan.nodes = {shader("bad", "void main() { pixel = nothing; }",
                       {port("width", Type::Integer, "1"), port("height", Type::Integer, "1")})};
  {
    // What is set and fired before anybody can know goes nowhere, and takes nothing with it.
    Running bad(folder, plan, GetParam());
    EXPECT_THAT(bad.recorder.await(1), ElementsAre("lost"));
    EXPECT_THAT(bad.runner->lossDescription(), AllOf(HasSubstr("straight"), HasSubstr("\"bad\"")));
    EXPECT_THROW(bad.fire("in"), std::runtime_error);
    EXPECT_THAT(bad.recorder.awaitStates(0), ElementsAre());
  }
  for (const char* refused : {"/no/such/file", "/bin/true", "/dev/zero", "/tmp"})
    EXPECT_THROW(Running(refused, folder.path, GetParam()), std::runtime_error) << refused;
  Running ended(folder, straight(Type::Real), GetParam());
  ended.runner->stop();
  EXPECT_THROW(ended.fire("in"), std::runtime_error);
  ended.runner->waitUntilStopped();
  EXPECT_THAT(ended.recorder.await(0), ElementsAre());
  EXPECT_THAT(childrenOf(getpid()), ElementsAre());
}

TEST_P(BothModes, AClockOfDaysIsWrappedWithoutLosingFrames) {
  const Plan plan{"clock",
                  {port("time", Type::Real)},
                  {expression("mod(t, 60) + 100 * mod(-t, 8) + 1000 * floor(t / 86400)",
                              {cabled("t", Type::Real, {{{kPublished, 0}}})})},
                  {cabled("phase", Type::Real, {{{0, 0}}})}};
  Running running(folder, plan, GetParam());
  for (const double seconds : {0., 1. / 240, 59.5}) {
    running.set("time", VuoReal_getJson(5 * 86400 + seconds));
    running.fire("time");
    running.recorder.await(1);
    const platform::JsonOwner phase(running.value("phase"));
    EXPECT_NEAR(json_object_get_double(phase.get()),
                seconds + 100 * (std::ceil(seconds / 8) * 8 - seconds) + 5000, 1e-7);
  }
}

TEST_P(BothModes, AnArtefactThatIsReplacedRunsOn) {
  const auto plan = [](const std::string& formula) {
    return Plan{"p",
                {port("x", Type::Real)},
                {expression(formula, {cabled("x", Type::Real, {{{kPublished, 0}}})})},
                {cabled("y", Type::Real, {{{0, 0}}})}};
  };
  const std::string file = Running::write(folder, plan("1+0*x"), GetParam(), "artefact");
  const auto newRunner = GetParam() ? VuoRunner::newSeparateProcessRunnerFromExecutable
                                    : [](std::string path, std::string source, bool, bool remove) {
                                        return VuoRunner::newCurrentProcessRunnerFromDynamicLibrary(
                                            path, source, remove);
                                      };
  Running old(folder.path + "/artefact", folder.path, GetParam());
  const std::unique_ptr<VuoRunner> notStarted(newRunner(file, folder.path, false, false));
  fs::remove(file);
  Running renewed(folder, plan("2+0*x"), GetParam());
  for (Running* running : {&old, &renewed}) {
    running->fire("x");
    running->recorder.await(1);
  }
  EXPECT_EQ(old.text("y") + renewed.text("y"), "1.02.0");
  fs::remove(file);
  notStarted->start();
  EXPECT_TRUE(notStarted->getPublishedOutputPortWithName("y"));
}

TEST_F(RuntimeTest, KilledPlayerIsReportedOnceAndLeavesNothing) {
  Running running(folder, straight(Type::Real), true);
  running.comeUp();
  const std::vector<pid_t> players = childrenOf(getpid());
  ASSERT_EQ(players.size(), 1u);
  kill(players[0], SIGKILL);
  EXPECT_THAT(running.recorder.await(1), ElementsAre("lost"));
  EXPECT_THAT(childrenOf(getpid()), ElementsAre()) << "not even a zombie";
  EXPECT_THROW(running.fire("in"), std::runtime_error);
  EXPECT_THROW(running.value("out"), std::runtime_error);
  running.runner->stop();
  running.runner->waitUntilStopped();
  EXPECT_THAT(running.recorder.await(0), ElementsAre());
}

/// The test speaks in the player's place, over a copy of its socket.
TEST_F(RuntimeTest, LyingPlayerIsLostWithTheReason) {
  Running running(folder, straight(Type::Real), true);
  running.fire("in");
  running.recorder.await(2);
  const platform::FileDescriptor process(pidfd_open(childrenOf(getpid()).at(0), 0));
  platform::FileDescriptor socket(pidfd_getfd(process.get(), vuo::playerSocket, 0));
  if (!socket) GTEST_SKIP() << "this machine keeps a process's descriptors from its parent";
  vuo::MessageSocket player(std::move(socket));
  player.send(vuo::encoded(vuo::message::ToHost(vuo::message::EventEnd{1, {}, {}})), -1, {});
  EXPECT_THAT(running.recorder.await(1), ElementsAre("lost"));
  EXPECT_THAT(running.runner->lossDescription(), HasSubstr("an event that it was not at"));
  EXPECT_THAT(childrenOf(getpid()), ElementsAre());
}

TEST_F(RuntimeTest, PlayerThatGetsNowhereIsEnded) {
  using std::chrono::milliseconds;
  Running fired(folder, straight(Type::Real), true), asked(folder, straight(Type::Real), true),
      idle(folder, straight(Type::Real), true), stopped(folder, straight(Type::Real), true);
  for (Running* running : {&fired, &asked, &idle, &stopped}) {
    running->comeUp();
    running->runner->setPatience(milliseconds(300));
  }
  for (const pid_t player : childrenOf(getpid())) kill(player, SIGSTOP);
  const auto event = asked.runner->firePublishedInputPortEvent({1, 0});
  // Never waits, though nobody takes it, and what is dropped here is no sign of life.
  EXPECT_THROW(while (true) fired.fire("in"), std::runtime_error);
  EXPECT_EQ(event->waitUntil(std::nullopt), VuoRunner::Event::State::Ended);
  EXPECT_THAT(event->endDescription(), HasSubstr("was not done with an event"));
  EXPECT_THAT(asked.recorder.await(1), ElementsAre("lost"));
  for (std::vector<std::string> reports; reports.empty() || reports.back() != "lost";)
    reports = fired.recorder.await(1);
  stopped.runner->stop();
  stopped.runner->waitUntilStopped();
  EXPECT_EQ(childrenOf(getpid()).size(), 1u) << "nothing is expected of the one that idles";
  EXPECT_THAT(stopped.recorder.await(0), ElementsAre());
}

TEST_F(RuntimeTest, CompositionInThisProcessThatGetsNowhereIsToldOf) {
  const Plan slow{"slow",
                  {port("work", Type::Integer)},
                  {shader("s",
                          "uniform int work; void main() { float busy = 0.0; for (int i = 0; i < "
                          "work; ++i) busy = fract(sin(busy + float(i)) * 43758.5); pixel = "
                          "vec4(busy); }",
                          {port("width", Type::Integer, "64"), port("height", Type::Integer, "64"),
                           cabled("work", Type::Integer, {{{kPublished, 0}}})})},
                  {cabled("image", Type::Image, {{{0, 0}}})}};
  Running running(folder, slow, false);
  running.comeUp();
  running.runner->setPatience(std::chrono::milliseconds(20));
  std::vector<std::string> states;
  for (int work = 1000; states.empty(); work *= 2) {
    running.set("work", VuoInteger_getJson(work));
    running.fire("work");
    running.recorder.await(1);
    states = running.recorder.awaitStates(0);
  }
  while (states.back() != "caught up") states = running.recorder.awaitStates(1);
}

TEST_F(RuntimeTest, PlayerInheritsNoDescriptor) {
  const std::string file = folder.write("open", "");
  const platform::FileDescriptor inheritable(open(file.c_str(), O_RDONLY));
  Running running(folder, straight(Type::Real), true);
  running.comeUp();
  const std::string descriptors = "/proc/" + std::to_string(childrenOf(getpid()).at(0)) + "/fd";
  std::vector<std::string> links;
  for (const auto& entry : fs::directory_iterator(descriptors)) {
    if (std::stoi(entry.path().filename()) < 3) continue;
    links.push_back(fs::read_symlink(entry));
  }
  EXPECT_THAT(links, testing::Contains(HasSubstr("socket:")).Times(1));
  EXPECT_THAT(links, testing::Not(testing::Contains(file)));
}

/// Run by the next test, in a process of its own.
TEST_F(RuntimeTest, DISABLED_HostThatIsKilled) {
  Running running(folder, straight(Type::Real), true);
  running.comeUp();
  kill(getpid(), SIGSTOP);
}

TEST_F(RuntimeTest, PlayerGoesWithItsHost) {
  const std::string self = std::filesystem::read_symlink("/proc/self/exe");
  const char* arguments[] = {self.c_str(), "--gtest_filter=*HostThatIsKilled",
                             "--gtest_also_run_disabled_tests", nullptr};
  pid_t host = 0;
  ASSERT_EQ(posix_spawn(&host, "/proc/self/exe", nullptr, nullptr, const_cast<char**>(arguments),
                        environ),
            0);
  int status = 0;
  ASSERT_EQ(waitpid(host, &status, WUNTRACED), host);
  ASSERT_TRUE(WIFSTOPPED(status));
  const platform::FileDescriptor player(pidfd_open(childrenOf(host).at(0), 0));
  kill(host, SIGKILL);
  waitpid(host, &status, 0);
  pollfd ended{player.get(), POLLIN, 0};
  EXPECT_EQ(poll(&ended, 1, 10000), 1);
}

}  // namespace
