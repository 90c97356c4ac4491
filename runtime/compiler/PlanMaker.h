// From a composition's text to its plan.
#pragma once

#include <string>

#include "runtime/VuoPlan.h"
#include "runtime/compiler/Faults.h"

namespace vuo {

/// Reads, resolves, checks and orders the composition in the file at `path`. Goes on behind what is
/// wrong, to find the rest. The plan is of use where no fault is an error, its files in any case.
Plan planOfComposition(const std::string& path, Faults& faults);

}  // namespace vuo
