#pragma once

#include <gst/gst.h>

/// Registers an element for each composition in the folders of BRANNOW_COMPOSITIONS and in
/// /usr/share/brannow/compositions, "brannow-" and its file's name; the first of a name counts. Has
/// GStreamer look again when one of these folders has changed.
void registerKnownCompositions(GstPlugin* plugin);
