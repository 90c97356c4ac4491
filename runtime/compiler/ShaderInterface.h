// What a fragment shader asks for.
#pragma once

#include <string>
#include <vector>

#include "runtime/VuoPlan.h"
#include "runtime/compiler/Faults.h"

namespace vuo {

/// Makes what every check of a shader needs, which takes longer than most checks.
void prepareShaderCheck();

struct ShaderInterface {
  std::vector<FaultAt> faults;
  /// In the order of their declarations, without values. Of use where there is no fault.
  std::vector<Port> uniforms;
};

/// Checks a fragment shader as a driver would. Any thread.
ShaderInterface interfaceOf(const std::string& source);

}  // namespace vuo
