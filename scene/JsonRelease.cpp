#include "scene/JsonRelease.h"

void releaseJson(json_object* value) {
  json_object_put(value);
}
