// A port's value inside the runtime. Unlike JSON values it may go from thread to thread.
#pragma once

#include <cstdint>
#include <string>
#include <variant>

#include "platform/system/JsonOwner.h"
#include "runtime/ImageRef.h"
#include "runtime/RuntimeExport.h"
#include "runtime/VuoPlan.h"
#include "runtime/VuoValues.h"

namespace vuo {

/// `std::monostate` is the value of a port that has none yet.
using Value = std::variant<std::monostate, ImageRef, double, std::int64_t, VuoColor, bool,
                           VuoPoint2d, std::string>;

/// The value that a port of the type takes from the JSON value. Throws std::runtime_error when it
/// does not fit. A JSON null is an image port's absent image.
BRANNOW_RUNTIME Value valueFromJson(Type type, json_object* json);
/// The JSON value for a host; null for a port without a value and for an absent image.
platform::JsonOwner jsonFromValue(const Value& value);

/// The value as a port of the type takes it from a cable: numbers and truth values turn into each
/// other (toward zero, to the nearest end of the range), anything else that does not fit into the
/// type's empty value.
BRANNOW_RUNTIME Value converted(const Value& value, Type type);

/// A few words about the value, for logs.
std::string summary(const Value& value);

}  // namespace vuo
