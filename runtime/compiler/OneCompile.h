#pragma once

#include <sys/types.h>

#include <string>

namespace vuo {

/// Compiles a composition within the limits of CompilerProtocol.h, leaves the result in the file
/// that is open as `output`, and ends the process, which also ends with `parent`.
[[noreturn]] void compileAndExit(const std::string& composition, int output, pid_t parent);

}  // namespace vuo
