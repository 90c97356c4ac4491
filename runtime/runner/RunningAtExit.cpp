#include "runtime/runner/RunningAtExit.h"

#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <set>
#include <utility>

#include "platform/system/Mutex.h"

namespace vuo {

struct RunningAtExit::Registry {
  const pid_t process = ::getpid();
  platform::Mutex lock;  // held while what runs is ended; taken before every lock of a runner's
  std::set<RunningAtExit*> running GUARDED_BY(lock);
};

/// Never destroyed.
RunningAtExit::Registry& RunningAtExit::registry() {
  static Registry& theRegistry = *new Registry;
  return theRegistry;
}

/// Not in a child of a fork, which has none of the threads that would be waited for.
void RunningAtExit::endAll() {
  if (::getpid() != registry().process) return;
  platform::LockGuard hold(registry().lock);
  for (RunningAtExit* running : std::exchange(registry().running, {})) running->_end();
}

/// What is registered last runs first when the process ends.
void RunningAtExit::driverIsComplete() {
  std::atexit(endAll);
}

RunningAtExit::RunningAtExit(std::function<void()> end) : _end(std::move(end)) {
  platform::LockGuard hold(registry().lock);
  if (registry().running.empty()) driverIsComplete();  // as far as it can be by now
  registry().running.insert(this);
}

RunningAtExit::~RunningAtExit() {
  platform::LockGuard hold(registry().lock);
  registry().running.erase(this);
}

}  // namespace vuo
