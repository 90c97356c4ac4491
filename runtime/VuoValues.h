// The runtime's plain values and their JSON forms. Every "getJson" gives a new value that the
// caller gives up with json_object_put.
#pragma once

#include <cstdint>

struct json_object;

using VuoReal = double;
using VuoInteger = std::int64_t;
using VuoBoolean = bool;
/// UTF-8, counted with VuoRetain and VuoRelease.
using VuoText = const char*;

struct VuoColor {
  float r, g, b, a;
};

struct VuoPoint2d {
  float x, y;
};

VuoColor VuoColor_makeWithRGBA(float r, float g, float b, float a);
VuoPoint2d VuoPoint2d_make(float x, float y);
/// A copy of the text, without references.
VuoText VuoText_make(const char* utf8);

json_object* VuoReal_getJson(VuoReal value);        ///< a number
json_object* VuoInteger_getJson(VuoInteger value);  ///< a whole number
json_object* VuoBoolean_getJson(VuoBoolean value);  ///< true or false
json_object* VuoColor_getJson(VuoColor value);      ///< {"r", "g", "b", "a"}
json_object* VuoPoint2d_getJson(VuoPoint2d value);  ///< {"x", "y"}
json_object* VuoText_getJson(VuoText value);        ///< a string; null for a null text
