#pragma once

#include <string>

namespace vuo {

/// The plan's text of the composition in that file, made by the compiler program. Throws
/// std::runtime_error that names the file and says what is wrong with it, or how the program ended.
std::string compiledPlan(const std::string& compositionPath);

}  // namespace vuo
