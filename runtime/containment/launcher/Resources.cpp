#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>

#include "platform/system/FileDescriptor.h"
#include "runtime/containment/launcher/Order.h"

namespace vuo {
namespace {

rlim_t inherited(int resource) {
  rlimit limit{};
  getrlimit(static_cast<__rlimit_resource>(resource), &limit);
  return limit.rlim_cur;
}

/// For good, and never to more than it was.
void limit(int resource, rlim_t most) {
  most = std::min(most, inherited(resource));
  const rlimit limit{most, most};
  if (setrlimit(static_cast<__rlimit_resource>(resource), &limit) != 0) failed("A limit");
}

/// The kernel counts all threads of the user, of whatever process, so half of them are left to the
/// others, unless that is too few to live with. It counts none of the superuser's.
rlim_t halfOfTheThreads() {
  constexpr rlim_t whereUnlimited = 16384, least = 4096;
  const rlim_t all = inherited(RLIMIT_NPROC);
  return all == RLIM_INFINITY ? whereUnlimited : std::max(all / 2, least);
}

/// The first to be ended when the system's memory runs short, whoever has used it up.
void offerToTheKernel() {
  const platform::FileDescriptor file(open("/proc/self/oom_score_adj", O_WRONLY | O_CLOEXEC));
  if (!file) return;  // where there is no /proc
  if (write(file.get(), "1000", 4) < 0) failed("oom_score_adj");
}

}  // namespace

void limitResources(const Order& order) {
  if (order.host != 0) {
    if (prctl(PR_SET_PDEATHSIG, SIGKILL) != 0) failed("The signal at the host's end");
    if (getppid() != order.host) throw std::runtime_error("The host is gone");
  }
  offerToTheKernel();
  limit(RLIMIT_CORE, 0);
  limit(RLIMIT_NOFILE, order.openFiles);
  limit(RLIMIT_NPROC, halfOfTheThreads());
  limit(RLIMIT_FSIZE, order.fileSize);
  limit(RLIMIT_MSGQUEUE, 0);
  limit(RLIMIT_RTPRIO, 0);
#ifndef VUO_SANITIZED  // whose shadows are many times larger
  limit(RLIMIT_DATA, order.memory);
  limit(RLIMIT_AS, order.memory * 16);
#endif
}

}  // namespace vuo
