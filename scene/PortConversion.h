// Host values to the runtime's JSON values, and back, by the type of the port.
#pragma once

#include "Brannow/VuoGLScene.h"
#include "runtime/VuoImage.h"
#include "scene/JsonValue.h"

/// The runtime's value for a port of this type; null when the host's value does not fit it.
JsonValue jsonForValue(const ZQVuoPortValue& value, ZQVuoPortType type);

/// The image in the form that crosses to another process, or in that for this one; null when that
/// fails.
JsonValue jsonForImage(VuoImage image, bool interprocess);

/// Whether `outputFromJson` makes anything of an output of this type.
bool isServedOutputType(ZQVuoPortType type);
/// The host's object for an output's value; empty for a null value.
VuoOutput outputFromJson(json_object* value, ZQVuoPortType type);
