// Calls into the runtime may throw; nothing of that reaches the host.
#pragma once

#include <utility>

#include "platform/system/SystemLog.h"

/// Runs `work`; an exception of any kind is logged as `format` with the operation's name. True when
/// the work was done to its end.
template <class Work>
bool guarded(const char* operation, Work&& work,
             const char* format = "\t\terr: caught exception in %s") {
  try {
    std::forward<Work>(work)();
    return true;
  } catch (...) {
    platform::systemLog(format, {operation});
    return false;
  }
}
