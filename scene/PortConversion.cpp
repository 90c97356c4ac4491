#include "scene/PortConversion.h"

#include "Brannow/VuoBufferPoolAdditions.h"
#include "composition/PortValues.h"
#include "runtime/VuoRunnerCocoa.h"
#include "runtime/VuoValues.h"
#include "scene/Retained.h"

namespace {

JsonValue jsonForText(const std::string& text) {
  JsonValue json;
  {
    const Retained<VuoText> held(VuoText_make(text.c_str()));
    json = JsonValue(VuoText_getJson(held.get()));
  }
  return json;
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

ZQBufferRef allocBufferForImageValue(json_object* value) {
  const VuoImage image = VuoImage_makeFromJson(value);
  ZQBufferRef buffer;
  {
    const Retained<VuoImage> held(image);
    buffer = allocBufferFromVuoImage(_globalZQBufferPool, image);
  }
  return buffer;
}

}  // namespace

JsonValue jsonForValue(const ZQVuoPortValue& value, ZQVuoPortType type) {
  const auto made = [](const auto& contents, auto make) {
    return contents ? JsonValue(make(*contents)) : nullptr;
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

JsonValue jsonForImage(VuoImage image, bool interprocess) {
  return JsonValue(interprocess ? VuoImage_getInterprocessJson(image) : VuoImage_getJson(image));
}

bool isServedOutputType(ZQVuoPortType type) {
  return nameOfPortType(type) != nullptr;
}

VuoOutput outputFromJson(json_object* value, ZQVuoPortType type) {
  if (!value || !isServedOutputType(type)) return {};
  if (type == ZQVuoPortType_Image) return {allocBufferForImageValue(value), nullptr};
  return {nullptr, VuoRunnerCocoa::cocoaObjectWithVuoValue(value, nameOfPortType(type))};
}
