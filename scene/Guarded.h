// Calls into the runtime may throw; nothing of that reaches the host.
#pragma once

#include <exception>
#include <optional>
#include <string>
#include <utility>

#include "platform/system/SystemLog.h"
#include "platform/system/ThreadSafety.h"

/// Runs `work`; an exception of any kind is logged as `format` with the operation's name. None when
/// the work was done to its end, else what the exception says of itself.
template <class Work>
std::optional<std::string> faultOf(const char* operation, Work&& work,
                                   const char* format = "\t\terr: caught exception in %s")
    NO_THREAD_SAFETY_ANALYSIS {  // the work says itself which locks its caller holds
  std::string fault;
  try {
    std::forward<Work>(work)();
    return std::nullopt;
  } catch (const std::exception& raised) {
    fault = raised.what();
  } catch (...) {
  }
  platform::systemLog(format, {operation});
  return fault;
}

/// The same for whoever only wants to know whether the work was done to its end.
template <class Work>
bool guarded(const char* operation, Work&& work,
             const char* format = "\t\terr: caught exception in %s") {
  return !faultOf(operation, std::forward<Work>(work), format);
}

/// Gives something of the runtime's up in a destructor. What that raises goes on its way, unless
/// something else has been raised since there were `raisedBefore` exceptions on theirs.
template <class Work>
void giveUp(int raisedBefore, Work&& work) {
  if (std::uncaught_exceptions() == raisedBefore) return std::forward<Work>(work)();
  try {
    std::forward<Work>(work)();
  } catch (...) {  // what came first is told of
  }
}
