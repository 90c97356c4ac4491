#include "platform/runtime/transport/Protocol.h"

#include <json-c/json.h>

#include <stdexcept>

namespace vuo {
namespace {

json_object* member(json_object* message, const char* key, json_type type) {
  json_object* value = valueIn(message, key);
  if (!json_object_is_type(value, type))
    throw std::runtime_error(std::string("The message lacks \"") + key + "\"");
  return value;
}

}  // namespace

void PutJson::operator()(json_object* value) const {
  json_object_put(value);
}

JsonOwner newMessage(const char* kind) {
  JsonOwner message = newObject();
  add(message.get(), "kind", kind);
  return message;
}

std::string kindOf(json_object* message) {
  return textIn(message, "kind");
}

JsonOwner newObject() {
  return JsonOwner(json_object_new_object());
}

JsonOwner newArray() {
  return JsonOwner(json_object_new_array());
}

JsonOwner newNumber(std::uint64_t number) {
  return JsonOwner(json_object_new_uint64(number));
}

JsonOwner newText(const std::string& text) {
  return JsonOwner(json_object_new_string_len(text.data(), static_cast<int>(text.size())));
}

void add(json_object* message, const char* key, std::uint64_t number) {
  add(message, key, newNumber(number));
}

void add(json_object* message, const char* key, const std::string& text) {
  add(message, key, newText(text));
}

void add(json_object* message, const char* key, JsonOwner value) {
  json_object_object_add(message, key, value.release());
}

void append(json_object* array, JsonOwner value) {
  json_object_array_add(array, value.release());
}

std::uint64_t numberIn(json_object* message, const char* key) {
  return json_object_get_uint64(member(message, key, json_type_int));
}

std::string textIn(json_object* message, const char* key) {
  json_object* text = member(message, key, json_type_string);
  return {json_object_get_string(text), static_cast<std::size_t>(json_object_get_string_len(text))};
}

json_object* arrayIn(json_object* message, const char* key) {
  return member(message, key, json_type_array);
}

json_object* valueIn(json_object* message, const char* key) {
  json_object* value = nullptr;
  json_object_object_get_ex(message, key, &value);
  return value;
}

}  // namespace vuo
