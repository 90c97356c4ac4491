#pragma once

#include <optional>
#include <string>

#include "host/SceneDriver.h"

struct RenderOptions : SceneOptions {
  std::optional<std::string> size;  ///< "WxH"; none: the composition's own defaults
  int frames = 1;
};

/// `brannow render`: runs a generator in a scene and writes its pictures. The result is the exit
/// status; whatever goes wrong ends with a message on standard error.
int render(const RenderOptions& options);
