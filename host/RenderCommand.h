#pragma once

#include <optional>
#include <string>
#include <vector>

struct RenderOptions {
  std::string file;
  std::optional<std::string> output;  ///< a file or a pattern; none: the composition's name
  std::optional<std::string> size;    ///< "WxH"; none: the composition's own defaults
  int frames = 1;
  double fps = 30;
  std::vector<std::string> assignments;  ///< "NAME=VALUE"
  bool inProcess = false;
  std::string cacheFolder;
};

/// `brannow render`: runs a generator in a scene and writes its pictures. The result is the exit
/// status; whatever goes wrong ends with a message on standard error.
int render(const RenderOptions& options);
