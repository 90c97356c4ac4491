// Values and images in and out, by the names of published ports.
#include "bridging/ImageOverBuffer.h"
#include "platform/system/SystemLog.h"
#include "runtime/VuoImage.h"
#include "scene/Guarded.h"
#include "scene/PortConversion.h"
#include "scene/Retained.h"
#include "scene/VuoGLSceneState.h"

using platform::systemLog;

namespace {

ZQVuoPortType typeOf(const ZQVuoComposition::Port& port) {
  return port ? port->portType() : ZQVuoPortType_Undefined;
}

void setAndFire(VuoRunner& runner, VuoRunner::Port* port, const JsonValue& value) {
  runner.setPublishedInputPortValue(port, value.get());
  runner.firePublishedInputPortEvent(port);
}

VuoOutput allocOutput(VuoRunner& runner, VuoRunner::Port* port, ZQVuoPortType type) {
  VuoOutput output;
  if (isServedOutputType(type)) {
    const JsonValue value(runner.getPublishedOutputPortValue(port));
    output = outputFromJson(value.get(), type);
  }
  return output;
}

}  // namespace

void VuoGLScene::setValue(const Value& value, const Key& forInputKey) {
  constexpr const char* kName = "-[VuoGLScene setValue:forInputKey:]";
  if (!value || !forInputKey) return;
  const auto composition = comp();
  platform::LockGuard hold(_state->runnerLock);
  if (!_state->runner) return;
  guarded(kName, [&]() REQUIRES(_state->runnerLock) {
    const auto type = typeOf(composition ? composition->inputPortNamed(forInputKey) : nullptr);
    VuoRunner::Port* port = _state->runner->getPublishedInputPortWithName(*forInputKey);
    if (!port) return;
    if (type == ZQVuoPortType_Undefined) {
      systemLog("\t\tERR: bailing, can't call %s for an undefined port type", {kName});
    } else if (type == ZQVuoPortType_Image) {
      systemLog("\t\tERR: bailing, can't call %s for an image", {kName});
    } else if (const JsonValue json = jsonForValue(*value, type)) {
      setAndFire(*_state->runner, port, json);
    }
  });
}

void VuoGLScene::setBuffer(const ZQBufferRef& buffer, const Key& forInputImageKey) {
  if (!buffer || !forInputImageKey) return;
  const auto composition = comp();
  platform::LockGuard hold(_state->runnerLock);
  if (!_state->runner) return;
  guarded("-[VuoGLScene setBuffer:forInputImageKey:]", [&]() REQUIRES(_state->runnerLock) {
    const auto type = typeOf(composition ? composition->inputPortNamed(forInputImageKey) : nullptr);
    VuoRunner::Port* port = _state->runner->getPublishedInputPortWithName(*forInputImageKey);
    if (!port || type != ZQVuoPortType_Image) return;
    if (const VuoImage image = _state->_vuoImageForBuffer(*buffer))
      _state->_pushVuoImage(image, port);
  });
}

VuoOutput VuoGLScene::allocValueForOutputKey(const Key& key) {
  constexpr const char* kName = "-[VuoGLScene allocValueForOutputKey:]";
  if (!key) return {};
  const auto composition = comp();
  platform::LockGuard hold(_state->runnerLock);
  if (!_state->runner) return {};
  VuoOutput output;
  guarded(kName, [&]() REQUIRES(_state->runnerLock) {
    const auto type = typeOf(composition ? composition->outputPortNamed(key) : nullptr);
    VuoRunner::Port* port = _state->runner->getPublishedOutputPortWithName(*key);
    if (!port) return;
    if (type == ZQVuoPortType_Undefined) {
      systemLog("\t\tERR: bailing, can't call %s for an undefined port type", {kName});
    } else {
      output = allocOutput(*_state->runner, port, type);
    }
  });
  return output;
}

VuoImage VuoGLScene::State::_vuoImageForBuffer(ZQBuffer& buffer) {
  return imageOverBuffer(buffer);
}

void VuoGLScene::State::_pushVuoImage(VuoImage image, VuoRunner::Port* toRunnerPort) {
  const Retained<VuoImage> held(image);
  const JsonValue value = jsonForImage(image, runnerNewProcess);
  if (value) setAndFire(*runner, toRunnerPort, value);
}
