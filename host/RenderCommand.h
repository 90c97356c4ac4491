#pragma once

#include "host/SceneDriver.h"

struct RenderOptions : SceneOptions {
  int frames = 1;
  /// Each frame shows the composition's own clock, at the pace of the rate.
  bool realtime = false;
};

/// `brannow render`: asks a generator for its pictures and writes them: frame k as it is at
/// `start` + (k - 1) / `rate` seconds, as fast as the machine can. The result is the exit status;
/// whatever goes wrong ends with a message on standard error.
int render(const RenderOptions& options);
