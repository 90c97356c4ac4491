#pragma once

#include "platform/system/Dispatch.h"

namespace platform {

/// Runs a task; what it throws is logged and goes no further, so that the tasks behind it still
/// run.
void runGuarded(const Task& task);

}  // namespace platform
