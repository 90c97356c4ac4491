#include "host/StopSignals.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdint>

namespace {

volatile std::sig_atomic_t received = 0;

/// May be called by a signal's handler once it has been made.
int descriptor() {
  static const int onlyOne = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  return onlyOne;
}

void signalEvent(int event) {
  const std::uint64_t one = 1;
  [[maybe_unused]] const auto written = ::write(event, &one, sizeof one);
}

void note(int signal) {
  const int before = errno;
  received = signal;
  signalEvent(descriptor());
  errno = before;
}

}  // namespace

void catchStopSignals() {
  (void)descriptor();
  struct sigaction action {};
  action.sa_handler = note;
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

int stopSignal() {
  return received;
}

int stopDescriptor() {
  return descriptor();
}

AtStopSignal::AtStopSignal(std::function<void()> work)
    : _over(eventfd(0, EFD_CLOEXEC)), _waiting([over = _over.get(), work = std::move(work)] {
        pollfd events[] = {{descriptor(), POLLIN, 0}, {over, POLLIN, 0}};
        while (::poll(events, 2, -1) < 0) {
        }
        if (events[1].revents == 0) work();
      }) {}

AtStopSignal::~AtStopSignal() {
  signalEvent(_over.get());
  _waiting.join();
}
