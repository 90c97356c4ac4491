#include "runtime/VuoRunnerCocoa.h"

#include <json-c/json.h>

namespace {

bool isNumber(json_object* value) {
  return json_object_is_type(value, json_type_double) || json_object_is_type(value, json_type_int);
}

double member(json_object* object, const char* name) {
  return json_object_get_double(json_object_object_get(object, name));
}

bool hasMembers(json_object* object, std::initializer_list<const char*> names) {
  if (!json_object_is_type(object, json_type_object)) return false;
  for (const char* name : names) {
    if (!isNumber(json_object_object_get(object, name))) return false;
  }
  return true;
}

std::shared_ptr<const ZQVuoPortValue> shared(ZQVuoPortValue value) {
  return std::make_shared<const ZQVuoPortValue>(std::move(value));
}

}  // namespace

std::shared_ptr<const ZQVuoPortValue> VuoRunnerCocoa::cocoaObjectWithVuoValue(
    json_object* value, const std::string& ofType) {
  if (ofType == "VuoReal" && isNumber(value)) return shared(json_object_get_double(value));
  if (ofType == "VuoInteger" && isNumber(value)) {
    return shared(std::int64_t{json_object_get_int64(value)});
  }
  if (ofType == "VuoBoolean" && json_object_is_type(value, json_type_boolean)) {
    return shared(json_object_get_boolean(value) != 0);
  }
  if (ofType == "VuoColor" && hasMembers(value, {"r", "g", "b", "a"})) {
    return shared(
        ZQVuoColor{member(value, "r"), member(value, "g"), member(value, "b"), member(value, "a")});
  }
  if (ofType == "VuoPoint2d" && hasMembers(value, {"x", "y"})) {
    return shared(ZQVuoPoint{member(value, "x"), member(value, "y")});
  }
  if (ofType == "VuoText" && json_object_is_type(value, json_type_string)) {
    const auto length = static_cast<std::size_t>(json_object_get_string_len(value));
    return shared(std::string(json_object_get_string(value), length));
  }
  return nullptr;
}
