#pragma once

#include <string>
#include <vector>

namespace vuo {

/// Those of this process's variables ("NAME=VALUE") that a GL driver and the dynamic loader look
/// at. No locale is among them: the runtime's programs never leave the "C" locale.
std::vector<std::string> minimalEnvironment();

}  // namespace vuo
