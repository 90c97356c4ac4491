#pragma once

#include "host/SceneDriver.h"

struct RenderOptions : SceneOptions {
  int frames = 1;
};

/// `brannow render`: runs a generator in a scene and writes its pictures. The result is the exit
/// status; whatever goes wrong ends with a message on standard error.
int render(const RenderOptions& options);
