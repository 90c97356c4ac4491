// Work without the interpreter's lock, and the interpreter's end.
#pragma once

#include <pybind11/pybind11.h>

#include <memory>

#include "Brannow/VuoGLScene.h"

namespace python {

/// While it exists, the calling thread is outside: it does not have the interpreter's lock, and
/// other threads run Python. The caller has the lock when it makes one, and again when it has gone.
///
/// A thread that came back to an interpreter that has ended would be ended in the middle of C++. So
/// the interpreter's end waits until all are back, and from then on nobody goes outside: the work
/// is done with the lock held.
class CallOutside {
 public:
  CallOutside();
  ~CallOutside();
  CallOutside(const CallOutside&) = delete;
  CallOutside& operator=(const CallOutside&) = delete;

 private:
  PyThreadState* _thread = nullptr;
};

/// Whoever is asked to end when the interpreter does, so that no wait holds it up.
void endWithInterpreter(const std::weak_ptr<VuoGLScene>& scene);
/// Ends those and waits for all who are outside. Called once, before the interpreter puts itself
/// away.
void endBeforeInterpreter();
bool hasInterpreterEnded();

/// Called in the child of a fork, which has none of the engine's threads: nothing works any more
/// there that has been used before.
void noteFork();
void noteUse();
bool isCutOff();

/// Lets go of what holds something of the engine's; in the child of a fork it is left as it is,
/// since somebody may have held its locks.
template <class Holder>
void letGo(Holder& holder) {
  if (isCutOff()) {
    (void)new Holder(std::move(holder));
    return;
  }
  const CallOutside outside;
  holder = {};
}

/// Raises brannow.Error.
[[noreturn]] void raiseError(const char* text);
/// Raises what a signal's handler has raised, KeyboardInterrupt for one.
void raiseIfInterrupted();

}  // namespace python
