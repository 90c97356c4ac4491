#include "runtime/containment/StarterThread.h"

#include <pthread.h>
#include <signal.h>

#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <system_error>
#include <thread>

namespace vuo {
namespace {

/// Never destroyed: the thread uses it until the process is gone.
struct Desk {
  std::mutex turn;  ///< held by whoever has work under way; taken before `lock`
  std::mutex lock;  ///< guards the fields below
  std::condition_variable changed;
  const std::function<void()>* work = nullptr;
  bool hasThread = false;
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
  for (std::unique_lock hold(own.lock);;) {
    own.changed.wait(hold, [&] { return own.work != nullptr; });
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
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

}  // namespace

void StarterThread::run(const std::function<void()>& work) {
  Desk& own = theDesk();
  std::lock_guard turn(own.turn);
  std::unique_lock hold(own.lock);
  if (!own.hasThread) makeThread();
  own.hasThread = true;
  own.work = &work;
  own.changed.notify_all();
  own.changed.wait(hold, [&] { return own.work == nullptr; });
}

}  // namespace vuo
