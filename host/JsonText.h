#pragma once

#include <json-c/json.h>

#include <string>

inline json_object* jsonText(const std::string& text) {
  return json_object_new_string_len(text.data(), static_cast<int>(text.size()));
}
