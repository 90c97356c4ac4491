// What a fragment shader asks for.
#pragma once

#include <string>
#include <vector>

#include "runtime/VuoPlan.h"

namespace vuo {

/// Makes what every check of a shader needs, which takes longer than most checks.
void prepareShaderCheck();

/// Checks a fragment shader as a driver would and gives its uniforms, in the order of their
/// declarations, as ports without values. Throws std::runtime_error with the first fault and its
/// line; `fileName` names the shader in it. Any thread.
std::vector<Port> uniformsOfShader(const std::string& source, const std::string& fileName);

}  // namespace vuo
