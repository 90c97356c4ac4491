#include "plugins/frei0r/Instance.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "Brannow/Engine.h"
#include "plugins/frei0r/UnpackedFiles.h"

namespace frei0r {
namespace {

constexpr std::size_t bytesOfPixel = 4;
/// What ends at once each time it is loaded may not fill the host's time with that.
constexpr auto betweenLoads = std::chrono::seconds(1);
/// Hosts wait for the picture, whatever it takes, but not for one that never comes.
constexpr auto patience = std::chrono::minutes(1);

/// A picture of another size than was asked for, stretched.
void stretch(const ZQPixels& picture, std::size_t width, std::size_t height, std::uint32_t* out) {
  for (std::size_t y = 0; y < height; ++y) {
    const std::uint8_t* row =
        picture.rgba.data() + y * picture.height / height * picture.width * bytesOfPixel;
    for (std::size_t x = 0; x < width; ++x, ++out)
      std::memcpy(out, row + x * picture.width / width * bytesOfPixel, bytesOfPixel);
  }
}

}  // namespace

Instance::Instance(const Plugin& plugin, unsigned int width, unsigned int height)
    : _plugin(plugin), _width(width), _height(height) {
  for (const auto& parameter : plugin.parameters()) _values.push_back(parameter.defaultValue());
}

void Instance::setParameter(std::size_t index, const void* pointer) {
  if (index >= _values.size()) return;
  const Parameter& parameter = _plugin.parameters()[index];
  _values[index] = parameter.read(pointer);
  auto value = parameter.inputValue(_values[index]);
  if (!value) return;
  auto& set = _set[parameter.name()];
  if (set && *set == *value) return;
  set = value;
  _unsent[parameter.name()] = std::move(value);
}

void Instance::writeParameter(std::size_t index, void* pointer) const {
  if (index < _values.size()) Parameter::write(_values[index], pointer);
}

void Instance::update(double time, const void* caller, const std::uint32_t* in,
                      std::uint32_t* out) {
  if (!canRender()) load();
  if (_scene) keep(render(_clock.seconds(time, caller), in));
  showKept(in, out);
}

bool Instance::canRender() {
  if (_scene && _scene->status().state != VuoSceneStatus::State::Running) {
    say(_scene->status().message);
    _scene.reset();
  }
  return _scene != nullptr;
}

void Instance::load() {
  if (_lastLoad && Clock::now() - *_lastLoad < betweenLoads) return;
  _lastLoad = Clock::now();
  auto* engine = brannow::Engine::shared();
  if (!engine) return say("this machine offers no OpenGL 3.3 core through EGL");
  brannow::Engine::SceneOptions options;
  try {
    options.file = unpack(_plugin.contents());
  } catch (const std::runtime_error& fault) {
    return say(fault.what());
  }
  options.inProcess = _plugin.contents().inProcess;
  options.eventPatience = patience;
  std::string problem;
  _scene = engine->loadScene(options, problem);
  if (!_scene) return say(problem);
  _unsent = _set;
  _shown = 0;
}

VuoFrame Instance::render(double seconds, const std::uint32_t* in) {
  VuoFrameRequest request;
  request.time = seconds;
  request.size = ZQSize{static_cast<double>(_width), static_cast<double>(_height)};
  request.values = std::move(_unsent);
  _unsent.clear();
  if (_plugin.isFilter() && in) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(in);
    _input.width = _width;
    _input.height = _height;
    _input.rgba.assign(bytes, bytes + _width * _height * bytesOfPixel);
    request.image = brannow::Engine::shared()->pool().allocBufferWithPixels(_input);
  }
  return _scene->renderFrame(request, std::nullopt);
}

void Instance::keep(const VuoFrame& frame) {
  if (!frame.buffer) return say(frame.message);
  if (frame.request != 0 && frame.request == _shown) return;
  _shown = frame.request;
  brannow::Engine::shared()->pool().readPixels(*frame.buffer, _picture);
}

void Instance::showKept(const std::uint32_t* in, std::uint32_t* out) const {
  const std::size_t size = _width * _height * bytesOfPixel;
  if (_picture.rgba.empty()) {
    if (in)
      std::memcpy(out, in, size);
    else
      std::memset(out, 0, size);
  } else if (_picture.width == _width && _picture.height == _height) {
    std::memcpy(out, _picture.rgba.data(), size);
  } else {
    stretch(_picture, _width, _height, out);
  }
}

void Instance::say(const std::string& problem) {
  if (problem == _said) return;
  _said = problem;
  _plugin.say(problem);
}

}  // namespace frei0r
