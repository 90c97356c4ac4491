#pragma once

#include <json-c/json_object.h>

/// Gives up one reference to a runtime value. May raise what the runtime raises at a value's end.
void releaseJson(json_object* value);
