#include "plugins/python/RunningScene.h"

#include <algorithm>
#include <chrono>
#include <cstdint>

#include "Brannow/Engine.h"
#include "Brannow/VuoCache.h"
#include "platform/system/Mutex.h"
#include "plugins/python/CallOutside.h"
#include "plugins/python/PixelArray.h"
#include "plugins/python/Upload.h"
#include "plugins/python/Values.h"

namespace py = pybind11;
using Clock = std::chrono::steady_clock;

namespace python {
namespace {

/// Handlers of signals are run between two of these.
constexpr std::chrono::milliseconds kLongestWait(50);
/// Where another file has taken the composition's place there is none.
constexpr std::chrono::seconds kLongestWaitForLoss(5);

VuoGLScene::Patience patienceOf(const std::optional<double>& seconds) {
  constexpr double kForEver = 1e9;
  if (!seconds || !(*seconds < kForEver)) return std::nullopt;
  return std::chrono::duration_cast<std::chrono::nanoseconds>(
      std::chrono::duration<double>(*seconds > 0 ? *seconds : 0));
}

void requireEngine() {
  if (isCutOff())
    raiseError(
        "compositions ran before this process was forked, so none can be used in it; "
        "start processes by multiprocessing's spawn");
  if (hasInterpreterEnded()) raiseError("the interpreter ends");
  noteUse();
  const auto* engine = [] {
    const CallOutside outside;
    return brannow::Engine::shared();
  }();
  if (!engine) raiseError("this machine offers no OpenGL 3.3 core through EGL");
}

const char* nameOf(VuoSceneStatus::State state) {
  switch (state) {
    case VuoSceneStatus::State::Empty:
      return "closed";
    case VuoSceneStatus::State::Loading:
      return "loading";
    case VuoSceneStatus::State::Running:
      return "running";
    case VuoSceneStatus::State::Failed:
      return "failed";
    case VuoSceneStatus::State::Lost:
      return "lost";
  }
  return "";
}

}  // namespace

/// Told of a scene's changes by the main queue, which no thread of Python's serves.
class Changes {
 public:
  void note() {
    platform::LockGuard hold(_lock);
    _count++;
    _noted.notify_all();
  }
  int count() {
    platform::LockGuard hold(_lock);
    return _count;
  }
  /// Until there are others than these, but not for long.
  void waitForMoreThan(int seen) {
    const auto end = std::chrono::steady_clock::now() + kLongestWait;
    platform::UniqueLock hold(_lock);
    while (_count == seen && _noted.wait_until(hold, end)) {
    }
  }

 private:
  platform::Mutex _lock;
  platform::ConditionVariable _noted;
  int _count GUARDED_BY(_lock) = 0;
};

Image::Image(const py::buffer& pixels) {
  requireEngine();
  const py::buffer_info info = pixels.request();
  const CallOutside outside;
  _buffer =
      uploaded(static_cast<const std::uint8_t*>(info.ptr), static_cast<std::size_t>(info.shape[1]),
               static_cast<std::size_t>(info.shape[0]));
}

Image::~Image() {
  letGo(_buffer);
}

Frame::~Frame() {
  letGo(_frame);
}

const char* Frame::answer() const {
  switch (_frame.answer) {
    case VuoFrame::Answer::Fresh:
      return "fresh";
    case VuoFrame::Answer::Repeated:
      return "repeated";
    case VuoFrame::Answer::Late:
      return "late";
    case VuoFrame::Answer::None:
      return "none";
  }
  return "";
}

const char* Frame::reason() const {
  switch (_frame.reason) {
    case VuoFrame::Reason::Given:
      return "given";
    case VuoFrame::Reason::NothingRuns:
      return "nothing runs";
    case VuoFrame::Reason::Ended:
      return "ended";
    case VuoFrame::Reason::NodeFailed:
      return "node failed";
    case VuoFrame::Reason::NoPicture:
      return "no picture";
    case VuoFrame::Reason::Dropped:
      return "dropped";
  }
  return "";
}

py::str Frame::message() const {
  return textOf(_frame.message);
}

py::object Frame::pixels() const {
  requireEngine();
  return arrayOf(_frame.buffer);
}

py::object Frame::output(const std::string& name) const {
  requireEngine();
  if (const auto value = _frame.output(name)) return objectOf(value);
  return arrayOf(_frame.image(name));
}

RunningScene::RunningScene(std::string file, bool inProcess, const std::optional<double>& patience)
    : _file(std::move(file)), _changes(std::make_shared<Changes>()) {
  requireEngine();
  _scene = VuoGLScene::initWithSize(1, 1);
  _scene->setRunnerNewProcess(!inProcess);
  _scene->setEventPatience(patienceOf(patience));
  _scene->setStatusHandler([changes = _changes](const VuoSceneStatus&) { changes->note(); });
  endWithInterpreter(_scene);
}

RunningScene::~RunningScene() {
  letGo(_scene);
}

py::object RunningScene::load() {
  requireEngine();
  const auto start = Clock::now();
  {
    const CallOutside outside;
    _scene->useFile(_file, true);
  }
  try {
    waitWhile([](auto state) { return state == VuoSceneStatus::State::Loading; });
  } catch (const py::error_already_set&) {
    _scene->useFile(std::nullopt);
    throw;
  }
  const VuoSceneStatus status = _scene->status();
  if (status.state == VuoSceneStatus::State::Running) return py::none();
  const auto compile = VuoCache::lastCompileForVuoFile(_file);
  if (compile && compile->began >= start && compile->failure)
    return py::make_tuple("compile", textOf(*compile->failure));
  return py::make_tuple("start", textOf(status.message));
}

template <class Condition>
void RunningScene::waitWhile(Condition condition) {
  for (int seen = _changes->count(); condition(_scene->status().state); seen = _changes->count()) {
    {
      const CallOutside outside;
      _changes->waitForMoreThan(seen);
    }
    raiseIfInterrupted();
  }
}

py::tuple RunningScene::status() const {
  requireEngine();
  const VuoSceneStatus status = _scene->status();
  return py::make_tuple(nameOf(status.state), textOf(status.message));
}

std::shared_ptr<VuoPendingFrame> RunningScene::ask(double time, const Size& size,
                                                   const Image* image, const py::dict& values) {
  requireEngine();
  VuoFrameRequest request;
  request.time = time;
  request.size = ZQSize{size.first, size.second};
  if (image) request.image = image->buffer();
  for (const auto& [name, value] : values) {
    if (py::isinstance<Image>(value))
      request.images[name.cast<std::string>()] = value.cast<const Image&>().buffer();
    else
      request.values[name.cast<std::string>()] = valueOf(value);
  }
  const CallOutside outside;
  return _scene->askForFrame(request);
}

std::shared_ptr<Frame> RunningScene::take(const std::shared_ptr<VuoPendingFrame>& pending,
                                          const std::optional<double>& timeout) {
  requireEngine();
  const auto start = Clock::now();
  const auto longest = patienceOf(timeout);
  for (;;) {
    const auto waited = Clock::now() - start;
    std::chrono::nanoseconds wait = kLongestWait;
    if (longest) wait = std::clamp(*longest - waited, std::chrono::nanoseconds::zero(), wait);
    VuoFrame frame;
    {
      const CallOutside outside;
      frame = _scene->takeFrame(pending, wait);
    }
    if (frame.answer != VuoFrame::Answer::Late || (longest && waited + wait >= *longest))
      return std::make_shared<Frame>(std::move(frame));
    raiseIfInterrupted();
  }
}

/// The answer comes before the main queue has told the scene what has happened.
void RunningScene::awaitLoss() {
  requireEngine();
  const auto deadline = Clock::now() + kLongestWaitForLoss;
  waitWhile([&](auto state) {
    return state == VuoSceneStatus::State::Running && Clock::now() < deadline;
  });
}

void RunningScene::close() {
  if (isCutOff()) return;
  const CallOutside outside;
  _scene->prepareToBeDeleted();
}

}  // namespace python
