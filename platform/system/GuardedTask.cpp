#include "platform/system/GuardedTask.h"

#include <exception>

#include "platform/system/SystemLog.h"

namespace platform {

void runGuarded(const Task& task) {
  try {
    task();
  } catch (const std::exception& error) {
    systemLog("\t\terr: a dispatched task raised %s", {error.what()});
  } catch (...) {
    systemLog("\t\terr: a dispatched task raised something unknown");
  }
}

}  // namespace platform
