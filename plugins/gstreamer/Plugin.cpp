// The GStreamer plug-in: compositions as elements of pipelines.
#include <gst/gst.h>

#include "Brannow/BrannowVersion.h"
#include "gstreamer/Elements.h"
#include "gstreamer/KnownCompositions.h"

#define PACKAGE "brannow"

static gboolean beginPlugin(GstPlugin* plugin) {
  registerSource(plugin, {"brannowsrc",
                          "",
                          "Brannow source",
                          "Pictures of a composition, a node graph in a .vuo file",
                          nullptr,
                          {}});
  registerFilter(plugin, {"brannowfilter",
                          "",
                          "Brannow filter",
                          "Pictures through a composition, a node graph in a .vuo file",
                          nullptr,
                          {}});
  registerKnownCompositions(plugin);
  return TRUE;
}

GST_PLUGIN_DEFINE(GST_VERSION_MAJOR, GST_VERSION_MINOR, brannow,
                  "Node-graph compositions as sources and filters", beginPlugin, BRANNOW_VERSION,
                  "MIT/X11", "Brannow", "https://brannow.example/")
