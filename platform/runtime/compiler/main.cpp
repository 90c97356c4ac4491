// The program that compiles one composition: everything that reads what its author wrote runs here,
// within limits, and not in the host.
#include <fcntl.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <new>
#include <stdexcept>
#include <string>

#include "platform/runtime/VuoArtefact.h"
#include "platform/runtime/VuoPlan.h"
#include "platform/runtime/compiler/CompilerProtocol.h"
#include "platform/runtime/compiler/PlanMaker.h"

namespace {

/// Lowers a limit; where it is lower already it stays. At the soft limit the process is told by a
/// signal, `grace` later there is no way round.
void limit(__rlimit_resource resource, rlim_t most, rlim_t grace = 0) {
  rlimit now{};
  getrlimit(resource, &now);
  const rlim_t soft = std::min({most, now.rlim_cur, now.rlim_max});
  const rlimit lowered{soft, std::min(soft + grace, now.rlim_max)};
  setrlimit(resource, &lowered);
}

void limitOneself() {
  limit(RLIMIT_CORE, 0);
  limit(RLIMIT_CPU, vuo::mostProcessorSeconds, 1);
  limit(RLIMIT_FSIZE, vuo::mostOutput);
#ifndef VUO_SANITIZED  // a sanitizer reserves more addresses than any machine has memory
  limit(RLIMIT_AS, vuo::mostMemory);
#endif
}

bool write(const std::string& text) {
  for (std::size_t done = 0; done < text.size();) {
    const ssize_t count = ::write(vuo::compilerOutput, text.data() + done, text.size() - done);
    if (count < 0) return false;
    done += static_cast<std::size_t>(count);
  }
  return true;
}

std::string resultFor(const char* composition) {
  try {
    return vuo::artefactOf(vuo::serialized(vuo::planOfComposition(composition)));
  } catch (const std::runtime_error& fault) {
    return std::string(vuo::faultMark) + fault.what();
  } catch (const std::bad_alloc&) {
    return std::string(vuo::faultMark) + "it needs too much memory to be compiled";
  }
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 2 || fcntl(vuo::compilerOutput, F_SETFD, FD_CLOEXEC) != 0) {
    std::fputs("This program compiles compositions; the runtime starts it.\n", stderr);
    return 2;
  }
  prctl(PR_SET_PDEATHSIG, SIGKILL);  // nobody else waits for the result
  limitOneself();
  _exit(write(resultFor(arguments[1])) ? 0 : 1);
}
