// Everything at once, from many threads, against the real runtime. How much of it is told by
// BRANNOW_STRESS, the number of operations per thread.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>

#include <atomic>
#include <random>
#include <thread>

#include "Brannow/Brannow.h"
#include "EmptyCache.h"
#include "TestSupport.h"
#include "platform/runtime/textures/TexturePool.h"
#include "platform/system/Alert.h"

namespace {

namespace fs = std::filesystem;

int amount(int otherwise) {
  const char* text = std::getenv("BRANNOW_STRESS");
  return text ? std::atoi(text) : otherwise;
}

/// The children that run that program; any without a name.
std::vector<pid_t> children(const std::string& program = "") {
  std::vector<pid_t> found;
  for (const auto& thread : fs::directory_iterator("/proc/self/task")) {
    std::ifstream list(thread.path() / "children");
    for (pid_t child; list >> child;) {
      std::string name;
      std::getline(std::ifstream("/proc/" + std::to_string(child) + "/comm"), name);
      if (program.empty() || name == program) found.push_back(child);
    }
  }
  return found;
}

/// What a process could leak.
struct Holdings {
  std::size_t descriptors = 0, threads = 0, children = 0;
  long textures = 0;
  bool operator==(const Holdings&) const = default;

  static Holdings now() {
    const auto count = [](const char* folder) {
      return static_cast<std::size_t>(
          std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
    };
    return {count("/proc/self/fd"), count("/proc/self/task"), ::children().size(),
            vuo::TexturePool::liveTextures()};
  }
};

std::ostream& operator<<(std::ostream& out, const Holdings& held) {
  return out << held.descriptors << " descriptors, " << held.threads << " threads, "
             << held.children << " children, " << held.textures << " textures";
}

class Stress : public testing::Test {
 protected:
  Stress() {
    static const auto context = platform::GLContext::createRoot();
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
  }

  TestFolder folder;
  TestLog log;
  ZQBufferPool* pool;
};

TEST_F(Stress, LeavesNothingBehind) {
  constexpr int kThreads = 4, kScenes = 4;
  const Holdings before = afterWarmUp();
  std::mutex slotsLock;
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
        std::lock_guard hold(slotsLock);
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
  serveMainQueueUntil([&] { return busy == 0; });
  for (auto& thread : threads) thread.join();
  threads.clear();
  for (const auto& scene : slots) {
    if (scene) scene->prepareToBeDeleted();
  }
  settle();
  EXPECT_EQ(Holdings::now(), before);
}

TEST_F(Stress, SurvivesTheDeathOfEveryPlayer) {
  const Holdings before = afterWarmUp();
  log.take();
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
  auto lines = log.take();
  std::erase_if(lines, [](const auto& line) { return line.find("LostContact") == line.npos; });
  EXPECT_EQ(lines.size(), static_cast<std::size_t>(deaths));
  scene->prepareToBeDeleted();
  settle();
  EXPECT_EQ(Holdings::now(), before);
}

}  // namespace
