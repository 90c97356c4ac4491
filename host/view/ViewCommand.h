#pragma once

#include <optional>
#include <string>

#include "host/FrameRate.h"

struct ViewOptions {
  std::string file;
  /// A PNG file, a folder of them, a numbered pattern, or a composition that is a generator.
  std::optional<std::string> input;
  std::optional<std::string> size;    ///< "WxH"
  std::optional<std::string> preset;  ///< a file
  std::optional<std::string> osc;     ///< "PORT" or "ADDRESS:PORT"
  std::optional<std::string> record;  ///< a file or a named pipe
  FrameRate recordRate{60, 1};
  double start = 0;  ///< the time of the first frame, in seconds
  bool isPaused = false;
  bool isFullScreen = false;
  int display = 0;        ///< from 1; 0 leaves it to the desktop
  int outputDisplay = 0;  ///< of the picture alone, from 1; 0 is none
  bool inProcess = false;
  std::string cacheFolder;
};

/// `brannow view`: shows a composition in a window until the window is closed. The result is the
/// exit status: 0, or 1 after a message on standard error.
int view(const ViewOptions& options);
