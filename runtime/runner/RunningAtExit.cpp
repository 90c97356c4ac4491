#include "runtime/runner/RunningAtExit.h"

#include <atomic>
#include <cstdlib>
#include <mutex>
#include <set>
#include <utility>

namespace vuo {

struct RunningAtExit::Registry {
  std::mutex lock;  // held while what runs is ended; taken before every lock of a runner's
  std::set<RunningAtExit*> running;
};

/// Never destroyed.
RunningAtExit::Registry& RunningAtExit::registry() {
  static Registry& theRegistry = *new Registry;
  return theRegistry;
}

void RunningAtExit::endAll() {
  std::lock_guard hold(registry().lock);
  for (RunningAtExit* running : std::exchange(registry().running, {})) running->_end();
}

/// What is registered last runs first when the process ends.
void RunningAtExit::driverIsComplete() {
  std::atexit(endAll);
}

RunningAtExit::RunningAtExit(std::function<void()> end) : _end(std::move(end)) {
  std::lock_guard hold(registry().lock);
  if (registry().running.empty()) driverIsComplete();  // as far as it can be by now
  registry().running.insert(this);
}

RunningAtExit::~RunningAtExit() {
  std::lock_guard hold(registry().lock);
  registry().running.erase(this);
}

}  // namespace vuo
