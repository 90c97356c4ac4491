#pragma once

#include <string>

#include "host/SceneDriver.h"

struct FilterOptions : SceneOptions {
  std::string input;  ///< a PNG file, a folder of them, a numbered pattern, or "-" for video
};

/// `brannow filter`: runs every input picture through a filter and writes what comes out: one
/// picture for each, made from it at its own time. The result is the exit status; whatever goes
/// wrong ends with a message on standard error.
int filter(const FilterOptions& options);
