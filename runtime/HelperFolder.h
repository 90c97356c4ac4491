// Where the runtime's programs lie.
#pragma once

#include <string>

namespace vuo {

/// The folder of `vuo-compiler`, `vuo-player`, `vuo-module.so` and `vuo-text.so`: inside the
/// runtime's framework, which lies beside the library that this code was loaded from. Any thread.
std::string helperFolder();

}  // namespace vuo
