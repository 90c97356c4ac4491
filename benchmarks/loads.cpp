// For how long an asynchronous load keeps the main queue busy.
#include <poll.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <thread>

#include "Brannow/MainQueue.h"
#include "benchmarks/Measured.h"
#include "benchmarks/Session.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kWidth = 640, kHeight = 360;
constexpr int kLoads = 200, kOthers = 8;
constexpr double kMostMedian = 1, kMostOf99 = 3;

/// Scenes that are asked for a frame 60 times a second, together, on a thread of their own.
class DrawingScenes {
 public:
  DrawingScenes(int count, bool newProcess) {
    while (count-- > 0)
      _scenes.push_back(runningScene(benchComposition("waves.vuo"), kWidth, kHeight, newProcess));
    _thread = std::thread([this] { draw(); });
  }
  ~DrawingScenes() {
    _over = true;
    _thread.join();
  }

 private:
  void draw() {
    auto tick = Clock::now();
    while (!_over) {
      std::vector<std::shared_ptr<VuoPendingFrame>> asked;
      for (const auto& scene : _scenes) asked.push_back(scene->askForFrame({}));
      for (std::size_t i = 0; i < asked.size(); ++i) std::ignore = answerTo(asked[i], *_scenes[i]);
      tick = std::max(Clock::now(), tick + std::chrono::microseconds(16'667));
      std::this_thread::sleep_until(tick);
    }
  }

  std::vector<std::shared_ptr<VuoGLScene>> _scenes;
  std::atomic<bool> _over{false};
  std::thread _thread;
};

/// For how long this thread could have run but had no processor, in milliseconds, since it began.
double waitedForProcessor() {
  std::ifstream file("/proc/thread-self/schedstat");
  double running = 0, waiting = 0;
  file >> running >> waiting;
  return waiting / 1e6;
}

struct Taken {
  double all = 0;                    ///< of whoever serves the main queue, in milliseconds
  double withoutProcessorWaits = 0;  ///< the framework's own part
};

Taken byOneLoad(VuoGLScene& scene) {
  auto& queue = brannow::MainQueue::shared();
  Taken taken;
  scene.useFile(benchComposition("waves.vuo"), true);
  while (scene.status().state == VuoSceneStatus::State::Loading) {
    pollfd due{queue.fileDescriptor(), POLLIN, 0};
    ::poll(&due, 1, -1);
    const double waited = waitedForProcessor();
    const double all = milliseconds([&] { queue.runDue(); });
    taken.all += all;
    taken.withoutProcessorWaits += std::max(0.0, all - (waitedForProcessor() - waited));
  }
  if (scene.status().state != VuoSceneStatus::State::Running) std::abort();
  return taken;
}

double rareOf(std::vector<double> samples) {
  std::sort(samples.begin(), samples.end());
  return samples[samples.size() * 99 / 100];
}

void measure(bool newProcess, int others) {
  const DrawingScenes drawing(others, newProcess);
  const auto scene = VuoGLScene::initWithSize(kWidth, kHeight);
  scene->setRunnerNewProcess(newProcess);
  byOneLoad(*scene);
  std::vector<double> all, withoutWaits;
  for (int i = 0; i < kLoads; ++i) {
    const Taken taken = byOneLoad(*scene);
    all.push_back(taken.all);
    withoutWaits.push_back(taken.withoutProcessorWaits);
  }
  scene->prepareToBeDeleted();

  const std::string when =
      std::string("main queue busy with one asynchronous load, ") +
      (newProcess ? "separate process, " : "in process, ") +
      (others > 0 ? "while " + std::to_string(others) + " scenes draw" : "idle");
  print({when, "ms"}, {"load", all, {}, kMostMedian});
  print({when + ", 99th percentile", "ms"}, {"load", {rareOf(all)}, {}, kMostOf99});
  print({when + ", 99th percentile without waits for a processor", "ms"},
        {"load", {rareOf(withoutWaits)}, {}, kMostOf99});
}

}  // namespace

int main() {
  Session session;
  for (const bool newProcess : {false, true})
    for (const int others : {0, kOthers}) {
      measure(newProcess, others);
      brannow::finishQueues();
    }
}
