#include "platform/runtime/runner/RunningAtExit.h"

#include <cstdlib>
#include <mutex>
#include <set>
#include <utility>

namespace vuo {

struct RunningAtExit::Registry {
  std::mutex lock;  // held while what runs is ended; taken before every lock of a runner's
  std::set<RunningAtExit*> running;
};

/// Never destroyed. Made by the first runner, so after the GL driver has been loaded, and what is
/// registered later is run earlier when the process ends.
RunningAtExit::Registry& RunningAtExit::registry() {
  static Registry& theRegistry = *[] {
    std::atexit([] {
      std::lock_guard hold(registry().lock);
      for (RunningAtExit* running : std::exchange(registry().running, {})) running->_end();
    });
    return new Registry;
  }();
  return theRegistry;
}

RunningAtExit::RunningAtExit(std::function<void()> end) : _end(std::move(end)) {
  std::lock_guard hold(registry().lock);
  registry().running.insert(this);
}

RunningAtExit::~RunningAtExit() {
  std::lock_guard hold(registry().lock);
  registry().running.erase(this);
}

}  // namespace vuo
