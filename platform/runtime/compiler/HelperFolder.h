// Where the runtime's prebuilt files lie.
#pragma once

#include <string>

namespace vuo {

/// The folder of `vuo-module.so` and `vuo-player`: inside the runtime's framework, which lies
/// beside the library that this code was loaded from. Any thread.
std::string helperFolder();

}  // namespace vuo
