#include "runtime/Value.h"

#include <json-c/json.h>

#include <cmath>
#include <limits>
#include <stdexcept>

namespace vuo {
namespace {

[[noreturn]] void doesNotFit(Type type) {
  throw std::runtime_error(std::string("The value does not fit a port of type ") + typeName(type));
}

bool isNumber(json_object* json) {
  return json_object_is_type(json, json_type_double) || json_object_is_type(json, json_type_int);
}

float component(Type type, json_object* json, const char* name) {
  json_object* value = nullptr;
  if (!json_object_object_get_ex(json, name, &value) || !isNumber(value)) doesNotFit(type);
  return static_cast<float>(json_object_get_double(value));
}

std::int64_t integerFromReal(double real) {
  constexpr double end = 9223372036854775808.0;  // the first number beyond the range
  if (std::isnan(real)) return 0;
  if (real >= end) return std::numeric_limits<std::int64_t>::max();
  if (real < -end) return std::numeric_limits<std::int64_t>::min();
  return static_cast<std::int64_t>(real);
}

ImageRef imageFromJson(json_object* json) {
  ImageRef image(VuoImage_makeFromJson(json));
  if (!image && json != nullptr) doesNotFit(Type::Image);
  return image;
}

std::string textFromJson(json_object* json) {
  return {json_object_get_string(json), static_cast<std::size_t>(json_object_get_string_len(json))};
}

template <typename Number>
Value numberAs(Type type, Number number) {
  switch (type) {
    case Type::Real:
      return static_cast<double>(number);
    case Type::Integer:
      if constexpr (std::is_same_v<Number, double>) return integerFromReal(number);
      return static_cast<std::int64_t>(number);
    default:
      return number != Number{};
  }
}

bool isNumeric(Type type) {
  return type == Type::Real || type == Type::Integer || type == Type::Boolean;
}

Value emptyValue(Type type) {
  switch (type) {
    case Type::Image:
      return ImageRef();
    case Type::Color:
      return VuoColor{0, 0, 0, 0};
    case Type::Point2d:
      return VuoPoint2d{0, 0};
    case Type::Text:
      return std::string();
    default:
      return numberAs(type, std::int64_t{0});
  }
}

bool holds(const Value& value, Type type) {
  return value.index() == emptyValue(type).index();
}

struct JsonMaker {
  json_object* operator()(std::monostate) const { return nullptr; }
  json_object* operator()(const ImageRef& image) const { return VuoImage_getJson(image.get()); }
  json_object* operator()(double real) const { return VuoReal_getJson(real); }
  json_object* operator()(std::int64_t integer) const { return VuoInteger_getJson(integer); }
  json_object* operator()(const VuoColor& color) const { return VuoColor_getJson(color); }
  json_object* operator()(bool truth) const { return VuoBoolean_getJson(truth); }
  json_object* operator()(const VuoPoint2d& point) const { return VuoPoint2d_getJson(point); }
  json_object* operator()(const std::string& text) const {
    return json_object_new_string_len(text.data(), static_cast<int>(text.size()));
  }
};

}  // namespace

Value valueFromJson(Type type, json_object* json) {
  const json_type given = json_object_get_type(json);
  switch (type) {
    case Type::Image:
      return imageFromJson(json);
    case Type::Color:
      return VuoColor{component(type, json, "r"), component(type, json, "g"),
                      component(type, json, "b"), component(type, json, "a")};
    case Type::Point2d:
      return VuoPoint2d{component(type, json, "x"), component(type, json, "y")};
    case Type::Text:
      if (given == json_type_string) return textFromJson(json);
      break;
    default:
      if (given == json_type_double) return numberAs(type, json_object_get_double(json));
      if (given == json_type_int) return numberAs(type, json_object_get_int64(json));
      if (given == json_type_boolean) return numberAs(type, json_object_get_boolean(json) != 0);
  }
  doesNotFit(type);
}

platform::JsonOwner jsonFromValue(const Value& value) {
  return platform::JsonOwner(std::visit(JsonMaker(), value));
}

Value converted(const Value& value, Type type) {
  if (holds(value, type)) return value;
  if (isNumeric(type)) {
    if (const auto* real = std::get_if<double>(&value)) return numberAs(type, *real);
    if (const auto* integer = std::get_if<std::int64_t>(&value)) return numberAs(type, *integer);
    if (const auto* truth = std::get_if<bool>(&value)) return numberAs(type, *truth);
  }
  return emptyValue(type);
}

std::string summary(const Value& value) {
  if (const auto* image = std::get_if<ImageRef>(&value)) {
    if (!*image) return "no image";
    return std::to_string((*image)->pixelsWide) + "x" + std::to_string((*image)->pixelsHigh);
  }
  return json_object_to_json_string(jsonFromValue(value).get());
}

}  // namespace vuo
