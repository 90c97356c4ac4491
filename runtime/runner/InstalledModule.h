#pragma once

#include "runtime/module/ModuleEntry.h"

namespace vuo {

/// The entry of the module that belongs to this runtime, which is loaded at the first call and
/// stays. Throws std::runtime_error. Any thread.
ModuleEntry installedModule();

}  // namespace vuo
