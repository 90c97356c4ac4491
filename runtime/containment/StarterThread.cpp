#include "runtime/containment/StarterThread.h"

#include <pthread.h>
#include <signal.h>

#include <mutex>
#include <stdexcept>
#include <system_error>
#include <thread>

#include "platform/system/Mutex.h"

namespace vuo {
namespace {

/// Never destroyed: the thread uses it until the process is gone.
struct Desk {
  platform::Mutex turn ACQUIRED_BEFORE(lock);  ///< held by whoever has work under way
  platform::Mutex lock;
  platform::ConditionVariable changed;
  const std::function<void()>* work GUARDED_BY(lock) = nullptr;
  bool hasThread GUARDED_BY(lock) = false;
};

Desk* desk = nullptr;

/// A copy of this process has no such thread; it begins anew.
void makeDesk() {
  desk = new Desk;
}

Desk& theDesk() {
  static std::once_flag made;
  std::call_once(made, [] {
    makeDesk();
    pthread_atfork(nullptr, nullptr, makeDesk);
  });
  return *desk;
}

[[noreturn]] void serve() {
  pthread_setname_np(pthread_self(), "vuo starter");
  Desk& own = theDesk();
  for (platform::UniqueLock hold(own.lock);;) {
    while (own.work == nullptr) own.changed.wait(hold);
    (*own.work)();
    own.work = nullptr;
    own.changed.notify_all();
  }
}

/// The host's signals are not this thread's to take.
void makeThread() {
  sigset_t all, before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  try {
    std::thread(serve).detach();
  } catch (const std::system_error& fault) {
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    throw std::runtime_error(std::string("There is no thread left: ") + fault.what());
  } catch (...) {
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    throw;
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

}  // namespace

void StarterThread::run(const std::function<void()>& work) {
  Desk& own = theDesk();
  platform::LockGuard turn(own.turn);
  platform::UniqueLock hold(own.lock);
  if (!own.hasThread) makeThread();
  own.hasThread = true;
  own.work = &work;
  own.changed.notify_all();
  while (own.work != nullptr) own.changed.wait(hold);
}

}  // namespace vuo
