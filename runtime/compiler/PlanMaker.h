// From a composition's text to its plan.
#pragma once

#include <string>

#include "runtime/VuoPlan.h"

namespace vuo {

/// Reads, resolves, checks and orders the composition in the file at `path`. Throws
/// std::runtime_error with the line or node and what is wrong; it does not name the file.
Plan planOfComposition(const std::string& path);

}  // namespace vuo
