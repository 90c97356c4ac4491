// Everything at once, from many threads, against the real runtime. How much of it is told by
// BRANNOW_STRESS, the number of operations per thread.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <atomic>
#include <iostream>
#include <random>
#include <set>
#include <thread>

#include "Brannow/Brannow.h"
#include "EmptyCache.h"
#include "Holdings.h"
#include "TestSupport.h"
#include "platform/system/Alert.h"

namespace {

int amount(int otherwise) {
  const char* text = std::getenv("BRANNOW_STRESS");
  return text ? std::atoi(text) : otherwise;
}

class Stress : public testing::Test {
 protected:
  Stress() {
    static const auto context = brannow::GLContext::createRoot();
    static const auto sharedPool = ZQBufferPool::create(context->handle());
    pool = _globalZQBufferPool = sharedPool.get();
    VuoGLScene::setGlobalVuoGLContext(context);
    platform::setAlertPresenter([](const platform::Alert&) { return std::size_t{0}; });
    useEmptyCache(folder.path);
  }

  static std::string sample(const char* name) {
    return std::string(COMPOSITIONS_DIR) + "/" + name + ".vuo";
  }

  /// One load in either mode makes what is made once per process.
  Holdings afterWarmUp() {
    for (const bool newProcess : {true, false}) {
      auto scene = VuoGLScene::initWithSize(16, 9);
      scene->setRunnerNewProcess(newProcess);
      scene->useFile(sample("plasma"));
      EXPECT_TRUE(scene->renderFrame({}, std::nullopt).buffer);
      scene->prepareToBeDeleted();
    }
    settle();
    return Holdings::now();
  }

  void settle() {
    platform::finishQueues();
    platform::MainQueue::shared().runDue();
    platform::finishQueues();
    pool->purgeIdleBuffers();
  }

  TestFolder folder;
  TestLog log;
  ZQBufferPool* pool;
};

TEST_F(Stress, LeavesNothingBehind) {
  constexpr int kThreads = 4, kScenes = 4;
  const Holdings before = afterWarmUp();
  platform::Mutex slotsLock;
  std::vector<std::shared_ptr<VuoGLScene>> slots(kScenes);
  std::atomic<int> busy{kThreads};

  const auto work = [&](unsigned seed) {
    std::mt19937 random(seed);
    const auto below = [&](int end) {
      return static_cast<int>(random() % static_cast<unsigned>(end));
    };
    const auto frame = pool->allocBufferWithPixels({8, 4, std::vector<std::uint8_t>(128, 99)});
    std::shared_ptr<VuoPendingFrame> asked;  // perhaps of a scene that is gone
    const char* const files[] = {"plasma", "tiles", "invert", "pass_through"};
    for (int i = amount(60); i > 0; --i) {
      std::shared_ptr<VuoGLScene> scene;
      {
        platform::LockGuard hold(slotsLock);
        auto& slot = slots[random() % kScenes];
        if (slot && below(20) == 0) slot.reset();
        if (!slot) slot = VuoGLScene::initWithSize(16, 9);
        scene = slot;
      }
      switch (below(14)) {
        case 0:
          scene->setRunnerNewProcess(below(2) == 0);
          scene->useFile(sample(files[below(4)]), true);
          break;
        case 1:
          scene->useFile(sample(files[below(4)]), false);
          break;
        case 2:
          if (below(3) == 0) scene->useFile(std::nullopt);
          break;
        case 3:
          if (below(4) == 0) scene->prepareToBeDeleted();
          break;
        case 4:
          scene->setSize(1 + below(40), 1 + below(40));
          break;
        case 5:
          scene->setValue(std::make_shared<const ZQVuoPortValue>(below(9)), "rows");
          scene->setBuffer(frame, "picture");
          break;
        case 6:
          (void)scene->copyAndClearOutValPortNames();
          break;
        case 7:
          (void)scene->allocValueForOutputKey("textOut");
          break;
        case 8:
          if (const auto all = children("vuo-player"); !all.empty() && below(4) == 0) {
            ::kill(all[random() % all.size()], SIGKILL);
          }
          break;
        case 9:
          (void)scene->runFilterOnFrame(frame);
          break;
        case 10:
          asked = scene->askForFrame({});
          break;
        case 11:
          (void)scene->takeFrame(asked, std::chrono::milliseconds(below(20)));
          break;
        default:
          (void)scene->allocAndRenderABuffer();
      }
    }
    --busy;
  };

  std::vector<std::thread> threads;
  for (unsigned i = 0; i < kThreads; ++i) threads.emplace_back(work, 1000 + i);
  serveMainQueueUntil([&] {
    log.drain();  // a long run must not grow by its own lines
    return busy == 0;
  });
  for (auto& thread : threads) thread.join();
  threads.clear();
  for (const auto& scene : slots) {
    if (scene) scene->prepareToBeDeleted();
  }
  settle();
  EXPECT_EQ(Holdings::after(before), before);
}

TEST_F(Stress, SurvivesTheDeathOfEveryPlayer) {
  const Holdings before = afterWarmUp();
  log.drain();
  auto scene = VuoGLScene::initWithSize(16, 9);
  const int deaths = amount(20);
  for (int death = 0; death < deaths; ++death) {
    scene->useFile(sample("plasma"));
    EXPECT_TRUE(scene->renderFrame({}, std::nullopt).buffer);
    const auto players = children("vuo-player");
    ASSERT_EQ(players.size(), 1u);
    std::thread killer([&] { ::kill(players.front(), SIGKILL); });
    for (int frame = 0; frame < 3; ++frame) (void)scene->allocAndRenderABuffer();
    killer.join();
    serveMainQueueUntil([&] { return !scene->readyToRender(); });
    EXPECT_FALSE(scene->comp() || scene->filePath());
    settle();
  }
  auto lines = log.drain();
  std::erase_if(lines, [](const auto& line) { return line.find("LostContact") == line.npos; });
  EXPECT_EQ(lines.size(), static_cast<std::size_t>(deaths));
  scene->prepareToBeDeleted();
  settle();
  EXPECT_EQ(Holdings::after(before), before);
}

/// Grey by the time; `work` only makes it slow: seconds per frame, or minutes.
constexpr const char* kSlowShader = R"(#version 330 core
uniform float time;
uniform int work;
out vec4 pixel;
void main() {
  float busy = 0.0;
  for (int i = 0; i < work; ++i) busy = fract(sin(busy + float(i)) * 43758.5);
  pixel = vec4(vec3(time / 255.0 + busy * 0.0001), 1.0);
}
)";
constexpr const char* kSlow = R"(digraph G {
PublishedInputs [type="vuo.in" label="In|<width>w|<height>h|<time>t|<work>k" _width_type="VuoInteger" _height_type="VuoInteger" _time_type="VuoReal" _work_type="VuoInteger"];
PublishedOutputs [type="vuo.out" label="Out|<outputImage>o" _outputImage_type="VuoImage"];
S [type="vuo.shader" shader="slow.frag"];
PublishedInputs:width -> S:width;
PublishedInputs:height -> S:height;
PublishedInputs:time -> S:time;
PublishedInputs:work -> S:work;
S:image -> PublishedOutputs:outputImage;
})";

/// A scene that is asked for 60 frames a second on a thread of its own, and used in between.
class SteadyScene {
 public:
  using Clock = std::chrono::steady_clock;
  using Milliseconds = std::chrono::duration<double, std::milli>;

  explicit SteadyScene(const std::string& file) : _scene(VuoGLScene::initWithSize(64, 36)) {
    _scene->useFile(file);
    EXPECT_TRUE(_scene->renderFrame({}, std::nullopt).buffer);
    _thread = std::thread([this] { draw(); });
  }
  ~SteadyScene() {
    stop();
    _scene->prepareToBeDeleted();
  }

  void stop() {
    _over = true;
    if (_thread.joinable()) _thread.join();
  }
  int frames() const { return _frames; }
  int lostFrames() const { return _lost; }
  /// Of all that is not a wait for a frame.
  Milliseconds longestCall() const { return _longestCall; }
  int callsOver(double milliseconds) const {
    return static_cast<int>(std::count_if(_slowCalls.begin(), _slowCalls.end(),
                                          [&](double call) { return call > milliseconds; }));
  }

 private:
  template <class Call>
  auto timed(Call call) {
    const auto begin = Clock::now();
    auto result = call();
    const Milliseconds taken = Clock::now() - begin;
    _longestCall = std::max(_longestCall, taken);
    if (taken.count() > 1) _slowCalls.push_back(taken.count());
    return result;
  }
  void draw() {
    for (auto tick = Clock::now(); !_over; std::this_thread::sleep_until(tick)) {
      tick = std::max(Clock::now(), tick + std::chrono::microseconds(16'667));
      VuoFrameRequest request;
      request.time = _frames % 200;
      const auto asked = timed([&] { return _scene->askForFrame(request); });
      timed([&] {
        _scene->setValue(std::make_shared<const ZQVuoPortValue>(0), "work");
        return _scene->status();
      });
      const VuoFrame frame = _scene->takeFrame(asked, std::chrono::seconds(20));
      ++_frames;
      if (frame.answer != VuoFrame::Answer::Fresh || frame.time != request.time) ++_lost;
      (void)timed([&] { return _scene->allocValueForOutputKey("outputImage"); });
    }
  }

  const std::shared_ptr<VuoGLScene> _scene;
  std::atomic<bool> _over{false};
  std::atomic<int> _frames{0}, _lost{0};
  Milliseconds _longestCall{};
  std::vector<double> _slowCalls;
  std::thread _thread;
};

/// Players are killed, frozen and made to hang while others load, and one scene goes on as if
/// nothing was the matter. BRANNOW_STRESS=1000 kills 1000, freezes 200 and hangs 200.
TEST_F(Stress, GoesOnWhilePlayersAreKilledFrozenAndHang) {
  using State = VuoSceneStatus::State;
  using Clock = std::chrono::steady_clock;
  folder.write("slow.frag", kSlowShader);
  const std::string slow = folder.write("slow.vuo", kSlow);
  const Holdings before = afterWarmUp();
  const int kills = amount(10);
  std::vector<int> troubles(static_cast<std::size_t>(kills), SIGKILL);
  troubles.insert(troubles.end(), static_cast<std::size_t>((kills + 4) / 5), SIGSTOP);
  troubles.insert(troubles.end(), static_cast<std::size_t>((kills + 4) / 5), 0);  // a hang
  std::mt19937 random(5);
  std::shuffle(troubles.begin(), troubles.end(), random);
  int losses = 0, reloads = 0;
  const auto begin = Clock::now();
  {
    SteadyScene steady(slow);
    // Nobody's start is to be overdue only because several start at once, on a slow machine.
    const auto patience =
        std::max<Clock::duration>(std::chrono::milliseconds(400), 8 * (Clock::now() - begin));
    std::set<pid_t> leftAlone;
    for (const pid_t player : children("vuo-player")) leftAlone.insert(player);
    ASSERT_EQ(leftAlone.size(), 1u);

    std::vector<std::shared_ptr<VuoGLScene>> victims;
    std::vector<std::shared_ptr<VuoPendingFrame>> asked(4);
    for (std::size_t i = 0; i < asked.size(); ++i) {
      victims.push_back(VuoGLScene::initWithSize(1920, 1080));
      victims.back()->setEventPatience(patience);
      victims.back()->useFile(slow, true);
    }
    const auto reloaded = VuoGLScene::initWithSize(64, 36);
    std::set<VuoGLScene*> hanging;
    const auto trouble = [&](int signal) {
      if (signal == 0) {
        for (const auto& victim : victims)
          if (victim->status().state == State::Running && hanging.insert(victim.get()).second) {
            victim->setValue(std::make_shared<const ZQVuoPortValue>(2'000'000'000), "work");
            return true;
          }
        return false;
      }
      for (const pid_t player : children("vuo-player"))
        if (leftAlone.insert(player).second) return ::kill(player, signal) == 0;
      return false;
    };
    auto nextReload = Clock::now(), nextTrouble = Clock::now();
    while (!troubles.empty()) {
      pollfd due{platform::MainQueue::shared().fileDescriptor(), POLLIN, 0};
      ::poll(&due, 1, 5);
      platform::MainQueue::shared().runDue();
      for (std::size_t i = 0; i < victims.size(); ++i) {
        const auto state = victims[i]->status().state;
        if (state == State::Lost || state == State::Failed) {
          ++losses;
          hanging.erase(victims[i].get());
          victims[i]->useFile(slow, true);
        }
        if (state == State::Running &&
            (!asked[i] || victims[i]->takeFrame(asked[i], std::chrono::nanoseconds(0)).answer !=
                              VuoFrame::Answer::Late))
          asked[i] = victims[i]->askForFrame({});  // nothing is expected of who is asked nothing
      }
      // On a slow machine compositions would come faster than they can go.
      if (Clock::now() >= nextReload && reloaded->status().state != State::Loading) {
        reloaded->setRunnerNewProcess(++reloads % 2 == 0);
        reloaded->useFile(slow, true);
        nextReload = Clock::now() + std::chrono::milliseconds(50);
      }
      if (Clock::now() >= nextTrouble && trouble(troubles.back())) {
        troubles.pop_back();
        nextTrouble = Clock::now() + std::chrono::milliseconds(20);
      }
    }
    steady.stop();
    EXPECT_EQ(steady.lostFrames(), 0);
    EXPECT_GT(steady.frames(), 0);
    if (std::getenv("BRANNOW_STRESS"))
      std::cout << kills << " kills, " << (kills + 4) / 5 << " freezes and as many hangs, "
                << losses << " losses told, " << reloads << " reloads in "
                << std::chrono::duration<double>(Clock::now() - begin).count()
                << " s; another scene: " << steady.frames() << " frames, " << steady.lostFrames()
                << " lost, " << steady.callsOver(1) << " calls over 1 ms, " << steady.callsOver(3)
                << " over 3 ms, the longest " << steady.longestCall().count() << " ms\n";
    for (const auto& victim : victims) victim->prepareToBeDeleted();
    reloaded->prepareToBeDeleted();
  }
  settle();
  EXPECT_EQ(Holdings::after(before), before);
}

}  // namespace
