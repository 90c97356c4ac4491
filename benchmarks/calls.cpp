// What the framework itself costs where the runtime costs next to nothing: a scripted runtime
// answers, and what it takes when it is called directly is taken off.
#include <benchmark/benchmark.h>
#include <json-c/json.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <thread>

#include "Brannow/Brannow.h"
#include "benchmarks/Measured.h"
#include "platform/system/Mutex.h"
#include "runtime/VuoHeap.h"
#include "runtime/VuoRunnerCocoa.h"
#include "runtime/VuoValues.h"
#include "tests/scripted/ScriptedRuntime.h"

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t nmemb, std::size_t size);
void* __libc_realloc(void* ptr, std::size_t size);
}

namespace {

std::atomic<long> allocations{0};

}  // namespace

// Counts the allocations of the program, the C++ ones included; nothing here asks for an alignment.
extern "C" void* malloc(std::size_t size) {
  allocations.fetch_add(1, std::memory_order_relaxed);
  return __libc_malloc(size);
}
extern "C" void* calloc(std::size_t nmemb, std::size_t size) {
  allocations.fetch_add(1, std::memory_order_relaxed);
  return __libc_calloc(nmemb, size);
}
extern "C" void* realloc(void* ptr, std::size_t size) {
  allocations.fetch_add(1, std::memory_order_relaxed);
  return __libc_realloc(ptr, size);
}

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* kComposition = R"(digraph Measured {
PublishedInputs [type="vuo.in" label="PublishedInputs|<time>time\l|<speed>speed\l" _time_type="VuoReal" _speed_type="VuoReal" _speed="1"];
PublishedOutputs [type="vuo.out" label="PublishedOutputs|<outputImage>outputImage\l|<level>level\l" _outputImage_type="VuoImage" _level_type="VuoReal"];
}
)";

/// A scene over the scripted runtime, and a runner of the same runtime beside it.
class Scene {
 public:
  Scene() {
    std::string name = (std::filesystem::temp_directory_path() / "brannow-bench-XXXXXX").string();
    _folder = ::mkdtemp(name.data());
    std::ofstream(_folder + "/measured.vuo") << kComposition;
    VuoCache::configGlobalCacheWithSavePath(_folder);
    context = brannow::GLContext::createRoot();
    pool = context ? ZQBufferPool::create(context->handle()) : nullptr;
    if (!pool) std::abort();
    _globalZQBufferPool = pool.get();
    scripted::script().records = false;
    scripted::script().inputs.insert("speed");
    scripted::script().outputs["level"] = "0.5";
    image = scripted::makeImage(1920, 1080);
    scripted::script().imageOutputs["outputImage"] = image;
    runner.reset(VuoRunner::newSeparateProcessRunnerFromExecutable("", "", false, false));
    scene = VuoGLScene::initWithSize(1920, 1080);
    scene->useFile(_folder + "/measured.vuo");
    if (scene->status().state != VuoSceneStatus::State::Running) std::abort();
    scripted::report("outputImage", true);
  }
  ~Scene() {
    scene->prepareToBeDeleted();
    scene = nullptr;
    brannow::finishQueues();
    _globalZQBufferPool = nullptr;
    std::filesystem::remove_all(_folder);
  }

  std::shared_ptr<brannow::GLContext> context;
  std::unique_ptr<ZQBufferPool> pool;
  std::unique_ptr<VuoRunner> runner;
  std::shared_ptr<VuoGLScene> scene;
  VuoImage image;

 private:
  std::string _folder;
};

Scene* theScene = nullptr;

void setThroughScene() {
  static const auto value = std::make_shared<const ZQVuoPortValue>(0.25);
  static const VuoGLScene::Key key = "speed";
  theScene->scene->setValue(value, key);
}

void setDirectly() {
  VuoRunner::Port* port = theScene->runner->getPublishedInputPortWithName("speed");
  json_object* json = VuoReal_getJson(0.25);
  theScene->runner->setPublishedInputPortValue(port, json);
  theScene->runner->firePublishedInputPortEvent(port);
  json_object_put(json);
}

void getThroughScene() {
  static const VuoGLScene::Key key = "level";
  benchmark::DoNotOptimize(theScene->scene->allocValueForOutputKey(key));
}

void getDirectly() {
  VuoRunner::Port* port = theScene->runner->getPublishedOutputPortWithName("level");
  json_object* json = theScene->runner->getPublishedOutputPortValue(port);
  benchmark::DoNotOptimize(VuoRunnerCocoa::cocoaObjectWithVuoValue(json, "VuoReal"));
  json_object_put(json);
}

void wrap() {
  const auto buffer = allocBufferFromVuoImage(_globalZQBufferPool, theScene->image);
  benchmark::DoNotOptimize(buffer.get());
}

void retainAndRelease() {
  VuoRetain(theScene->image);
  VuoRelease(theScene->image);
}

void frameByRequest() {
  benchmark::DoNotOptimize(theScene->scene->renderFrame({}, std::nullopt).buffer.get());
}

/// The picture has been reported, so there is no wait.
void frameByCall() {
  benchmark::DoNotOptimize(theScene->scene->allocAndRenderABuffer().get());
}

/// A call of the framework, what is taken off, as a rule the runtime's share of it, and the
/// objects that the caller receives beyond that.
struct Call {
  std::string name;
  void (*ours)();
  void (*takenOff)();
  int objects;
};

const Call kCalls[] = {
    {"setValue:forInputKey:", setThroughScene, setDirectly, 0},
    {"allocValueForOutputKey: of a number", getThroughScene, getDirectly, 0},
    {"allocBufferFromVuoImage", wrap, retainAndRelease, 1},
    // The request, the runtime's event with its outputs, and what both are kept as.
    {"allocAndRenderABuffer by a request", frameByRequest, frameByCall, 4},
};

double allocationsOf(void (*call)()) {
  constexpr int kTimes = 1000;
  call();
  const long before = allocations;
  for (int i = 0; i < kTimes; ++i) call();
  return static_cast<double>(allocations - before) / kTimes;
}

/// Keeps each repetition's time per iteration, in microseconds.
class Samples : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override { return true; }
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs)
      if (run.run_type == Run::RT_Iteration)
        _of[run.run_name.function_name].push_back(1e6 * run.real_accumulated_time /
                                                  static_cast<double>(run.iterations));
  }
  const std::vector<double>& of(const std::string& name) { return _of[name]; }

 private:
  std::map<std::string, std::vector<double>> _of;
};

void measureCalls() {
  for (const Call& call : kCalls) {
    for (const auto& [suffix, work] : {std::pair("", call.ours), {" (taken off)", call.takenOff}})
      benchmark::RegisterBenchmark((call.name + suffix).c_str(),
                                   [work = work](benchmark::State& state) {
                                     for ([[maybe_unused]] auto _ : state) work();
                                   })
          ->Repetitions(15)
          ->MinTime(0.02);
  }
  Samples samples;
  benchmark::RunSpecifiedBenchmarks(&samples);
  for (const Call& call : kCalls) {
    Figures added{"framework", samples.of(call.name), {}, 1.0};
    const auto& takenOff = samples.of(call.name + " (taken off)");
    for (std::size_t i = 0; i < added.samples.size(); ++i) added.samples[i] -= takenOff[i];
    print({"what is added to " + call.name, "us"}, added);
    const double more = allocationsOf(call.ours) - allocationsOf(call.takenOff);
    print({"heap allocations added to " + call.name, ""},
          {"framework", {more}, {}, static_cast<double>(call.objects)});
  }
}

/// Takes far longer than a thread takes to get to its wait.
void letTheOtherFallAsleep() {
  const auto asleep = Clock::now() + std::chrono::microseconds(200);
  while (Clock::now() < asleep) {
  }
}

/// Reports the picture once the frame call is asleep, from a thread that plays the runtime.
class Reporter {
 public:
  Reporter() {
    scripted::script().during["fire"] = [this] {
      {
        platform::LockGuard hold(_lock);
        _fired = true;
      }
      _changed.notify_one();
    };
  }
  ~Reporter() {
    {
      platform::LockGuard hold(_lock);
      _ended = true;
    }
    _changed.notify_one();
    _thread.join();
    scripted::script().during.clear();
  }
  Clock::time_point reported() const { return _reported; }

 private:
  void serve() {
    platform::UniqueLock hold(_lock);
    while (true) {
      while (!_fired && !_ended) _changed.wait(hold);
      if (_ended) return;
      _fired = false;
      letTheOtherFallAsleep();
      _reported = Clock::now();
      scripted::report("outputImage", true);
    }
  }

  platform::Mutex _lock;
  platform::ConditionVariable _changed;
  bool _fired GUARDED_BY(_lock) = false;
  bool _ended GUARDED_BY(_lock) = false;
  Clock::time_point _reported;
  std::thread _thread{&Reporter::serve, this};
};

/// The limit: a thread that is woken by another one, and nothing else.
class BareWakeUp {
 public:
  ~BareWakeUp() {
    {
      platform::LockGuard hold(_lock);
      _state = State::Ended;
    }
    _changed.notify_all();
    _thread.join();
  }

  double microseconds() {
    platform::UniqueLock hold(_lock);
    _state = State::Asked;
    _changed.notify_all();
    while (_state != State::Answered) _changed.wait(hold);
    return std::chrono::duration<double, std::micro>(Clock::now() - _answered).count();
  }

 private:
  enum class State { Idle, Asked, Answered, Ended };

  void serve() {
    while (true) {
      platform::UniqueLock hold(_lock);
      while (_state != State::Asked && _state != State::Ended) _changed.wait(hold);
      if (_state == State::Ended) return;
      hold.unlock();
      letTheOtherFallAsleep();
      _answered = Clock::now();
      hold.lock();
      _state = State::Answered;
      hold.unlock();
      _changed.notify_all();
    }
  }

  platform::Mutex _lock;
  platform::ConditionVariable _changed;
  State _state GUARDED_BY(_lock) = State::Idle;
  Clock::time_point _answered;
  std::thread _thread{&BareWakeUp::serve, this};
};

double wakeUpOfAFrameCall(const Reporter& reporter) {
  std::ignore = theScene->scene->copyAndClearOutValPortNames();
  if (!theScene->scene->allocAndRenderABuffer()) std::abort();
  return std::chrono::duration<double, std::micro>(Clock::now() - reporter.reported()).count();
}

void measureWakeUp() {
  constexpr std::size_t kBatches = 15, kCallsInOne = 1000;
  Figures median{"median", {}, {}, 15.0}, late{"99th percentile", {}, {}, 100.0};
  Figures bare{"a thread woken by another, median", {}, {}, {}};
  Reporter reporter;
  BareWakeUp bareWakeUp;
  for (std::size_t batch = 0; batch < kBatches; ++batch) {
    std::vector<double> ours, theirs;
    for (std::size_t i = 0; i < kCallsInOne; ++i) {
      ours.push_back(wakeUpOfAFrameCall(reporter));
      theirs.push_back(bareWakeUp.microseconds());
    }
    std::sort(ours.begin(), ours.end());
    std::sort(theirs.begin(), theirs.end());
    median.samples.push_back(ours[kCallsInOne / 2]);
    late.samples.push_back(ours[kCallsInOne * 99 / 100]);
    bare.samples.push_back(theirs[kCallsInOne / 2]);
  }
  const Row row{"from the runner's report to the frame call's return", "us"};
  print(row, median);
  print(row, bare);
  print({row.what + ", at worst", "us"}, late);
}

}  // namespace

int main() {
  int count = 2;
  char name[] = "bench-calls", interleaved[] = "--benchmark_enable_random_interleaving=true";
  char* arguments[] = {name, interleaved, nullptr};
  benchmark::Initialize(&count, arguments);
  Scene scene;
  theScene = &scene;
  measureCalls();
  measureWakeUp();
}
