#pragma once

#include <functional>
#include <thread>

#include "platform/system/FileDescriptor.h"

/// From now on SIGINT and SIGTERM only leave a note.
void catchStopSignals();

/// The signal that asked the program to end, or 0.
int stopSignal();

/// Becomes readable, and stays so, when a signal has asked the program to end.
int stopDescriptor();

/// Does `work` once, on a thread of its own, when a signal asks the program to end while this
/// object exists.
class AtStopSignal {
 public:
  explicit AtStopSignal(std::function<void()> work);
  ~AtStopSignal();
  AtStopSignal(const AtStopSignal&) = delete;
  AtStopSignal& operator=(const AtStopSignal&) = delete;

 private:
  platform::FileDescriptor _over;  // an event descriptor: the object goes
  std::thread _waiting;
};
