#pragma once

#include <chrono>
#include <new>
#include <thread>

namespace platform {

/// For what somebody waits for, on threads that nobody does: while there is no memory for it, it is
/// tried again from the beginning. That there is some again is told by nobody.
template <class Work>
void withMemory(Work&& work) {
  for (;;) try {
      return static_cast<void>(work());
    } catch (const std::bad_alloc&) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

/// What `work` gives; nothing (an empty text, a null reference) when there is no memory for it.
template <class Work>
auto orNothing(Work&& work) -> decltype(work()) {
  try {
    return work();
  } catch (const std::bad_alloc&) {
    return {};
  }
}

}  // namespace platform
