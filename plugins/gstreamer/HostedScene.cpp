#include "gstreamer/HostedScene.h"

#include <system_error>
#include <utility>

#include "Brannow/Engine.h"

using namespace std::chrono_literals;

namespace {

/// A composition that ends at once, every time, is not to keep the machine busy with its starts.
constexpr auto kBetweenLoads = 500ms;
/// How soon a wait without an end notices that it is to end.
constexpr auto kPart = 50ms;

}  // namespace

bool HostedScene::start(const Settings& settings, std::string& problem) {
  stop();
  _settings = settings;
  _description = ZQVuoComposition::initWithPath(settings.file);
  Loaded loaded = load(settings);
  problem = loaded.problem;
  if (!loaded.scene) return false;
  begin(std::move(loaded.scene));
  return true;
}

void HostedScene::stop() {
  if (_returning.valid()) _returning.wait();
  _returning = {};
  _asked = nullptr;
  _scene = nullptr;
  _picture = nullptr;
  _lastComplaint.clear();
}

HostedScene::Loaded HostedScene::load(const Settings& settings) {
  auto* engine = brannow::Engine::shared();
  if (!engine) return {nullptr, "this machine offers no OpenGL 3.3"};
  brannow::Engine::SceneOptions options;
  options.file = settings.file;
  options.inProcess = settings.isInProcess;
  if (!settings.isLive) options.eventPatience = std::nullopt;
  Loaded loaded;
  loaded.scene = engine->loadScene(options, loaded.problem);
  return loaded;
}

void HostedScene::begin(std::shared_ptr<VuoGLScene> scene) {
  _scene = std::move(scene);
  _nextLoad = std::chrono::steady_clock::now() + kBetweenLoads;
  platform::LockGuard hold(_lock);
  _unsent = _inputs;  // it has come up with its own defaults
}

void HostedScene::setInput(const std::string& port, Value value) {
  platform::LockGuard hold(_lock);
  _inputs[port] = value;
  _unsent[port] = std::move(value);
}

HostedScene::Value HostedScene::input(const std::string& port) const {
  platform::LockGuard hold(_lock);
  const auto found = _inputs.find(port);
  return found == _inputs.end() ? nullptr : found->second;
}

HostedScene::Value HostedScene::output(const std::string& port) const {
  platform::LockGuard hold(_lock);
  const auto found = _outputs.find(port);
  return found == _outputs.end() ? nullptr : found->second;
}

void HostedScene::addValues(VuoFrameRequest& request) {
  platform::LockGuard hold(_lock);
  request.values = std::exchange(_unsent, {});
}

ZQBufferRef HostedScene::picture(VuoFrameRequest request, std::chrono::nanoseconds longest) {
  _isRepeated = true;
  // The second time it has been lost with the first request, and has come back.
  for (int turn = 0; turn < 2 && (_scene || comeBack()); ++turn) {
    if (!_asked) {
      addValues(request);
      _asked = _scene->askForFrame(request);
    }
    VuoFrame frame = wait(longest);
    // Where live, what is late will be the next picture; elsewhere a seek has made it useless.
    if (frame.answer != VuoFrame::Answer::Late || !_settings.isLive) _asked = nullptr;
    const bool isLost =
        frame.answer == VuoFrame::Answer::None &&
        (frame.reason == VuoFrame::Reason::Ended || frame.reason == VuoFrame::Reason::NothingRuns);
    if (!isLost) {
      keep(std::move(frame));
      break;
    }
    lose(frame.message);
  }
  return _picture;
}

VuoFrame HostedScene::wait(std::chrono::nanoseconds longest) {
  // There is nothing to show before the first picture.
  if (_settings.isLive && _picture) return _scene->takeFrame(_asked, longest);
  for (;;) {
    VuoFrame frame = _scene->takeFrame(_asked, kPart);
    if (frame.answer != VuoFrame::Answer::Late || _isInterrupted) return frame;
  }
}

void HostedScene::keep(VuoFrame frame) {
  if (frame.answer == VuoFrame::Answer::None && frame.message != _lastComplaint)
    _warn(frame.message);
  _lastComplaint = frame.message;
  if (frame.buffer) _picture = frame.buffer;
  if (frame.answer == VuoFrame::Answer::None || frame.answer == VuoFrame::Answer::Late) return;
  _isRepeated = false;
  platform::LockGuard hold(_lock);
  for (const auto& port : _description->publishedOutputPorts())
    if (auto value = frame.output(port->portName())) _outputs[port->portName()] = std::move(value);
}

void HostedScene::lose(const std::string& how) {
  _scene = nullptr;
  _warn("the composition is lost and will be loaded again: " + how);
}

bool HostedScene::comeBack() {
  const bool isDue = std::chrono::steady_clock::now() >= _nextLoad;
  if (!_returning.valid()) {
    if (!isDue && _settings.isLive) return false;
    try {
      _returning =
          std::async(std::launch::async, [settings = _settings] { return load(settings); });
    } catch (
        const std::system_error&) {  // there is no thread to be had; the next frame tries again
      return false;
    }
  }
  if (_settings.isLive && _returning.wait_for(0s) != std::future_status::ready) return false;
  Loaded loaded = _returning.get();
  begin(std::move(loaded.scene));
  if (!_scene) _warn("the composition can't be loaded again: " + loaded.problem);
  return _scene != nullptr;
}
