#pragma once

#include <string>
#include <vector>

#include "Brannow/CompositionCheck.h"

namespace vuo {

struct CompiledPlan {
  std::string text;  ///< of use where no fault is an error
  std::vector<brannow::CompositionFault> faults;
  std::vector<std::string> files;  ///< that the composition names, in its folder
};

/// What the compiler program makes of the composition in that file; how that program ended, where
/// it did not come to its end, is a fault too. Throws std::runtime_error where there is none to
/// start.
CompiledPlan compiledPlan(const std::string& compositionPath);

}  // namespace vuo
