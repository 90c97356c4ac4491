#pragma once

#include <json-c/json_object.h>

#include <memory>

namespace platform {

struct PutJson {
  void operator()(json_object* value) const { json_object_put(value); }
};
/// Owns one reference to a JSON value. Such values stay on one thread: their count is not atomic.
using JsonOwner = std::unique_ptr<json_object, PutJson>;

}  // namespace platform
