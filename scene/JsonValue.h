#pragma once

#include <json-c/json_object.h>

#include <memory>

struct JsonPut {
  void operator()(json_object* value) const { json_object_put(value); }
};

/// Owns one reference to a runtime value.
using JsonValue = std::unique_ptr<json_object, JsonPut>;
