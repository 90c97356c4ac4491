// vuo-launch: takes from itself what a program has no business with that works on what strangers
// have written, and becomes that program. `launch` starts it.
#include <errno.h>
#include <fcntl.h>
#include <getopt.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>

#include "runtime/containment/LauncherOptions.h"
#include "runtime/containment/launcher/Order.h"

namespace vuo {

void failed(const char* what) {
  throw std::runtime_error(std::string(what) + ": " + strerror(errno));
}

namespace {

Order orderIn(int count, char** arguments) {
  enum { Report = 1, Host, Memory, FileSize, OpenFiles, Readable, OwnFolder, Copies };
  const option options[] = {{launcherOption::report, required_argument, nullptr, Report},
                            {launcherOption::host, required_argument, nullptr, Host},
                            {launcherOption::memory, required_argument, nullptr, Memory},
                            {launcherOption::fileSize, required_argument, nullptr, FileSize},
                            {launcherOption::openFiles, required_argument, nullptr, OpenFiles},
                            {launcherOption::readable, required_argument, nullptr, Readable},
                            {launcherOption::ownFolder, required_argument, nullptr, OwnFolder},
                            {launcherOption::copies, no_argument, nullptr, Copies},
                            {}};
  Order order;
  for (int found; (found = getopt_long(count, arguments, "+", options, nullptr)) != -1;) {
    const auto number = [] { return std::strtoull(optarg, nullptr, 10); };
    if (found == Report) order.report = static_cast<int>(number());
    if (found == Host) order.host = static_cast<pid_t>(number());
    if (found == Memory) order.memory = number();
    if (found == FileSize) order.fileSize = number();
    if (found == OpenFiles) order.openFiles = number();
    if (found == Readable) order.readable.emplace_back(optarg);
    if (found == OwnFolder) order.ownFolder = optarg;
    if (found == Copies) order.copies = true;
  }
  order.command = arguments + optind;
  return order;
}

/// The program may be open for writing for a moment longer than its writer meant: in a process that
/// the host is just making, until that one's own program begins.
[[noreturn]] void become(char** command) {
  constexpr int tries = 200;
  constexpr timespec aWhile{0, 1'000'000};
  for (int i = 0; i < tries; ++i) {
    execv(command[0], command);
    if (errno != ETXTBSY) break;
    nanosleep(&aWhile, nullptr);
  }
  throw std::runtime_error(strerror(errno));
}

}  // namespace
}  // namespace vuo

int main(int count, char** arguments) {
  const vuo::Order order = vuo::orderIn(count, arguments);
  if (order.report < 0 || *order.command == nullptr) {
    constexpr char text[] = "This program belongs to a framework, which starts it.\n";
    return write(STDERR_FILENO, text, sizeof text - 1) < 0 ? 3 : 2;
  }
  fcntl(order.report, F_SETFD, FD_CLOEXEC);
  try {
    vuo::limitResources(order);
    vuo::giveUpPrivileges();
    vuo::restrictFiles(order);
    vuo::restrictSystemCalls(order);
    vuo::become(order.command);
  } catch (const std::exception& fault) {
    const std::string text = fault.what();
    _exit(write(order.report, text.data(), text.size()) < 0 ? 3 : 2);
  }
}
