// The render size and its way into the composition.
#include "platform/system/SystemLog.h"
#include "runtime/VuoValues.h"
#include "scene/Guarded.h"
#include "scene/JsonValue.h"
#include "scene/VuoGLSceneState.h"

using platform::systemLog;

namespace {

constexpr const char* kName = "-[VuoGLScene _applySize]";

/// One dimension of the size push, with the log lines for what it may lack.
struct Dimension {
  ZQVuoComposition::Port port;
  double pixels;
  const char* noName;
  const char* noPort;
  const char* noValue;
};

JsonValue jsonForPixels(double pixels, ZQVuoPortType type) {
  switch (type) {
    case ZQVuoPortType_Real:
      return JsonValue(VuoReal_getJson(pixels));
    case ZQVuoPortType_Integer:
      return JsonValue(VuoInteger_getJson(ZQVuoPortValue(pixels).longLongValue().value_or(0)));
    default:
      return nullptr;
  }
}

void pushDimension(VuoRunner& runner, const Dimension& dimension,
                   const std::optional<std::string>& filePath) {
  if (!dimension.port) {
    systemLog(dimension.noName, {kName, filePath});
    return;
  }
  VuoRunner::Port* port = runner.getPublishedInputPortWithName(dimension.port->portName());
  if (!port) {
    systemLog(dimension.noPort, {kName, filePath});
    return;
  }
  const JsonValue value = jsonForPixels(dimension.pixels, dimension.port->portType());
  if (!value) {
    systemLog(dimension.noValue, {kName, filePath});
    return;
  }
  runner.setPublishedInputPortValue(port, value.get());
  runner.firePublishedInputPortEvent(port);
}

}  // namespace

void VuoGLScene::setSize(double width, double height) {
  if (_state->deleted) return;
  bool changed;
  {
    platform::LockGuard hold(_state->propLock);
    changed = _state->size != ZQSize{width, height};
    _state->size = {width, height};
  }
  if (changed) _state->_applySize();
}

ZQSize VuoGLScene::size() const {
  platform::LockGuard hold(_state->propLock);
  return _state->size;
}

void VuoGLScene::State::_applySize() {
  if (deleted) return;
  const auto composition = scene.comp();
  platform::LockGuard hold(runnerLock);
  if (!runner) return;
  // Read under the runner's lock: of two overlapping pushes the later one sends the later size.
  const ZQSize pixels = scene.size();
  const Path path = scene.filePath();
  const auto widthPort = composition ? composition->runnerWidthPort() : nullptr;
  const auto heightPort = composition ? composition->runnerHeightPort() : nullptr;
  guarded(kName, [&]() REQUIRES(runnerLock) {
    pushDimension(*runner,
                  {widthPort, pixels.width, "\t\terr: no width port name, %s - %@",
                   "\t\terr: no width port, %s - %@", "\t\terr: no width port val, %s - %@"},
                  path);
    pushDimension(*runner,
                  {heightPort, pixels.height, "\t\terr: no height port name, %s - %@",
                   "\t\terr: no height port, %s - %@", "\t\terr: no height port val, %s - %@"},
                  path);
    runner->firePublishedInputPortEvent();
  });
}
