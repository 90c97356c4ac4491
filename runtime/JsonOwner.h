#pragma once

#include <memory>

#include "runtime/RuntimeExport.h"

struct json_object;

namespace vuo {

struct BRANNOW_RUNTIME PutJson {
  void operator()(json_object* value) const;
};
/// Owns one reference to a JSON value. Such values stay on one thread: their count is not atomic.
using JsonOwner = std::unique_ptr<json_object, PutJson>;

}  // namespace vuo
