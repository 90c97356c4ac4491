// The types of elements.
#pragma once

#include <gst/gst.h>

#include "gstreamer/ElementCore.h"

/// Registers a type for the kind, which lasts as long as the process. False where there is one of
/// its name.
bool registerSource(GstPlugin* plugin, const ElementKind& kind);
bool registerFilter(GstPlugin* plugin, const ElementKind& kind);
bool registerMixer(GstPlugin* plugin, const ElementKind& kind);

/// What the three have in common. `type` lacks its kind, which its class's beginning is given.
bool registerElement(GstPlugin* plugin, const ElementKind& kind, GType parent, GTypeInfo type);
