#include "host/StopSignals.h"

#include <csignal>

namespace {

volatile std::sig_atomic_t received = 0;

}  // namespace

void catchStopSignals() {
  struct sigaction action {};
  action.sa_handler = [](int signal) { received = signal; };
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
  std::signal(SIGPIPE, SIG_IGN);  // whoever writes to a pipe is told by its result
}

int stopSignal() {
  return received;
}
