// Turns the runtime's JSON values into the host's objects.
#pragma once

#include <memory>
#include <string>

#include "Brannow/ZQVuoPortValue.h"

struct json_object;

class VuoRunnerCocoa {
 public:
  /// The host object for a value of the named runtime type ("VuoReal", "VuoInteger", "VuoColor",
  /// "VuoBoolean", "VuoPoint2d", "VuoText"), or null for another type or a value that does not fit.
  static std::shared_ptr<const ZQVuoPortValue> cocoaObjectWithVuoValue(json_object* value,
                                                                       const std::string& ofType);
};
