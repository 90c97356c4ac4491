#include "plugins/python/CallOutside.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "platform/system/Mutex.h"

namespace py = pybind11;

namespace python {
namespace {

// All of this is read and written with the interpreter's lock, except where it says otherwise.
bool hasEnded = false;
bool isUsed = false;
bool isForked = false;

std::vector<std::weak_ptr<VuoGLScene>>& scenes() {
  static auto& list = *new std::vector<std::weak_ptr<VuoGLScene>>;
  return list;
}

/// Who is outside. Only the interpreter's end waits under the lock, and it has no other lock then.
struct Outside {
  platform::Mutex lock;
  platform::ConditionVariable everybodyIsBack;
  int count GUARDED_BY(lock) = 0;
};

Outside& outside() {
  static auto& theOnly = *new Outside;  // threads may come back while the process ends
  return theOnly;
}

void count(int step) {
  Outside& all = outside();
  platform::LockGuard hold(all.lock);
  all.count += step;
  if (all.count == 0) all.everybodyIsBack.notify_all();
}

}  // namespace

CallOutside::CallOutside() {
  if (hasEnded) return;
  count(1);
  _thread = PyEval_SaveThread();
}

CallOutside::~CallOutside() {
  if (!_thread) return;
  PyEval_RestoreThread(_thread);
  count(-1);
}

void endWithInterpreter(const std::weak_ptr<VuoGLScene>& scene) {
  auto& list = scenes();
  list.erase(
      std::remove_if(list.begin(), list.end(), [](const auto& other) { return other.expired(); }),
      list.end());
  list.push_back(scene);
}

void endBeforeInterpreter() {
  if (isCutOff()) return;
  const auto ending = scenes();
  hasEnded = true;
  PyThreadState* thread = PyEval_SaveThread();
  for (const auto& scene : ending)
    if (const auto held = scene.lock()) held->prepareToBeDeleted();
  {
    Outside& all = outside();
    platform::UniqueLock hold(all.lock);
    while (all.count > 0) all.everybodyIsBack.wait(hold);
  }
  PyEval_RestoreThread(thread);
}

bool hasInterpreterEnded() {
  return hasEnded;
}

void noteFork() {
  Outside& all = outside();
  platform::LockGuard hold(all.lock);
  all.count = 0;  // nobody has the lock: who takes it has the interpreter's, as the fork had
  if (isForked || !isUsed) return;
  isForked = true;
  // Drivers of OpenGL wait at the end for threads that only the parent has. This comes before them.
  on_exit(
      [](int status, void*) {
        std::fflush(nullptr);
        _exit(status);
      },
      nullptr);
}

void noteUse() {
  isUsed = true;
}

bool isCutOff() {
  return isForked;
}

void raiseError(const char* text) {
  const py::object error = py::module_::import("brannow._errors").attr("Error");
  PyErr_SetString(error.ptr(), text);
  throw py::error_already_set();
}

void raiseIfInterrupted() {
  if (PyErr_CheckSignals() != 0) throw py::error_already_set();
}

}  // namespace python
