#include "runtime/VuoValues.h"

#include <json-c/json.h>

#include <cstring>
#include <initializer_list>
#include <utility>

#include "runtime/VuoHeapBlock.h"

namespace {

json_object* numbers(std::initializer_list<std::pair<const char*, float>> members) {
  json_object* object = json_object_new_object();
  for (const auto& [name, number] : members) {
    json_object_object_add(object, name, json_object_new_double(static_cast<double>(number)));
  }
  return object;
}

}  // namespace

VuoColor VuoColor_makeWithRGBA(float r, float g, float b, float a) {
  return {r, g, b, a};
}
VuoPoint2d VuoPoint2d_make(float x, float y) {
  return {x, y};
}

VuoText VuoText_make(const char* utf8) {
  const std::size_t size = std::strlen(utf8) + 1;
  return static_cast<VuoText>(std::memcpy(vuo::newCounted(size, nullptr), utf8, size));
}

json_object* VuoReal_getJson(VuoReal value) {
  return json_object_new_double(value);
}
json_object* VuoInteger_getJson(VuoInteger value) {
  return json_object_new_int64(value);
}
json_object* VuoBoolean_getJson(VuoBoolean value) {
  return json_object_new_boolean(value);
}

json_object* VuoColor_getJson(VuoColor value) {
  return numbers({{"r", value.r}, {"g", value.g}, {"b", value.b}, {"a", value.a}});
}

json_object* VuoPoint2d_getJson(VuoPoint2d value) {
  return numbers({{"x", value.x}, {"y", value.y}});
}

json_object* VuoText_getJson(VuoText value) {
  return value ? json_object_new_string(value) : nullptr;
}
