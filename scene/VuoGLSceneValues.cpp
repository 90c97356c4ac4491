// Values and images in and out, by the names of published ports.
#include "Brannow/VuoBufferPoolAdditions.h"
#include "bridging/ImageOverBuffer.h"
#include "platform/runtime/VuoImage.h"
#include "platform/runtime/VuoRunnerCocoa.h"
#include "platform/runtime/VuoValues.h"
#include "platform/system/SystemLog.h"
#include "scene/Guarded.h"
#include "scene/JsonValue.h"
#include "scene/Retained.h"
#include "scene/VuoGLSceneState.h"

using platform::systemLog;

namespace {

ZQVuoPortType typeOf(const ZQVuoComposition::Port& port) {
  return port ? port->portType() : ZQVuoPortType_Undefined;
}

json_object* jsonForText(const std::string& text) {
  const Retained<VuoText> held(VuoText_make(text.c_str()));
  return VuoText_getJson(held.get());
}

json_object* jsonForColor(const ZQVuoColor& color) {
  return VuoColor_getJson(
      VuoColor_makeWithRGBA(static_cast<float>(color.red), static_cast<float>(color.green),
                            static_cast<float>(color.blue), static_cast<float>(color.alpha)));
}

json_object* jsonForPoint(const ZQVuoPoint& point) {
  return VuoPoint2d_getJson(
      VuoPoint2d_make(static_cast<float>(point.x), static_cast<float>(point.y)));
}

/// The runtime's value for a port of this type; null when the host's value does not fit it.
JsonValue jsonForValue(const ZQVuoPortValue& value, ZQVuoPortType type) {
  const auto made = [](const auto& contents, auto make) {
    return JsonValue(contents ? make(*contents) : nullptr);
  };
  switch (type) {
    case ZQVuoPortType_Real:
      return made(value.doubleValue(), VuoReal_getJson);
    case ZQVuoPortType_Integer:
      return made(value.longLongValue(), VuoInteger_getJson);
    case ZQVuoPortType_Color:
      return made(value.colorValue(), jsonForColor);
    case ZQVuoPortType_Boolean:
      return made(value.boolValue(), VuoBoolean_getJson);
    case ZQVuoPortType_Point2D:
      return made(value.pointValue(), jsonForPoint);
    case ZQVuoPortType_Text:
      return made(value.stringValue(), jsonForText);
    default:
      return nullptr;
  }
}

/// The runtime's name of a type whose values are host objects; null for the others.
const char* runtimeTypeName(ZQVuoPortType type) {
  switch (type) {
    case ZQVuoPortType_Real:
      return "VuoReal";
    case ZQVuoPortType_Integer:
      return "VuoInteger";
    case ZQVuoPortType_Color:
      return "VuoColor";
    case ZQVuoPortType_Boolean:
      return "VuoBoolean";
    case ZQVuoPortType_Point2D:
      return "VuoPoint2d";
    case ZQVuoPortType_Text:
      return "VuoText";
    default:
      return nullptr;
  }
}

void setAndFire(VuoRunner& runner, VuoRunner::Port* port, const JsonValue& value) {
  runner.setPublishedInputPortValue(port, value.get());
  runner.firePublishedInputPortEvent(port);
}

ZQBufferRef allocBufferForImageValue(json_object* value) {
  const VuoImage image = VuoImage_makeFromJson(value);
  if (!image) return nullptr;
  const Retained<VuoImage> held(image);
  return allocBufferFromVuoImage(_globalZQBufferPool, image);
}

VuoOutput allocOutput(VuoRunner& runner, VuoRunner::Port* port, ZQVuoPortType type) {
  const char* typeName = runtimeTypeName(type);
  if (type != ZQVuoPortType_Image && !typeName) return {};
  const JsonValue value(runner.getPublishedOutputPortValue(port));
  if (!value) return {};
  if (type == ZQVuoPortType_Image) return {allocBufferForImageValue(value.get()), nullptr};
  return {nullptr, VuoRunnerCocoa::cocoaObjectWithVuoValue(value.get(), typeName)};
}

}  // namespace

void VuoGLScene::setValue(const Value& value, const Key& forInputKey) {
  constexpr const char* kName = "-[VuoGLScene setValue:forInputKey:]";
  if (!value || !forInputKey) return;
  const auto composition = comp();
  std::lock_guard hold(_state->runnerLock);
  if (!_state->runner) return;
  guarded(kName, [&] {
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
  std::lock_guard hold(_state->runnerLock);
  if (!_state->runner) return;
  guarded("-[VuoGLScene setBuffer:forInputImageKey:]", [&] {
    const auto type = typeOf(composition ? composition->inputPortNamed(forInputImageKey) : nullptr);
    VuoRunner::Port* port = _state->runner->getPublishedInputPortWithName(*forInputImageKey);
    if (!port || type != ZQVuoPortType_Image) return;
    if (const VuoImage image = _vuoImageForBuffer(*buffer)) _pushVuoImage(image, port);
  });
}

VuoOutput VuoGLScene::allocValueForOutputKey(const Key& key) {
  constexpr const char* kName = "-[VuoGLScene allocValueForOutputKey:]";
  if (!key) return {};
  const auto composition = comp();
  std::lock_guard hold(_state->runnerLock);
  if (!_state->runner) return {};
  VuoOutput output;
  guarded(kName, [&] {
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

VuoImage VuoGLScene::_vuoImageForBuffer(ZQBuffer& buffer) {
  return imageOverBuffer(buffer);
}

/// The caller holds `runnerLock`.
void VuoGLScene::_pushVuoImage(VuoImage image, VuoRunner::Port* toRunnerPort) {
  const Retained<VuoImage> held(image);
  const JsonValue value(_state->runnerNewProcess ? VuoImage_getInterprocessJson(image)
                                                 : VuoImage_getJson(image));
  if (value) setAndFire(*_state->runner, toRunnerPort, value);
}
