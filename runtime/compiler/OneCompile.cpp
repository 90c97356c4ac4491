#include "runtime/compiler/OneCompile.h"

#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <new>
#include <stdexcept>

#include "runtime/VuoArtefact.h"
#include "runtime/VuoPlan.h"
#include "runtime/compiler/CompilerProtocol.h"
#include "runtime/compiler/PlanMaker.h"
#include "runtime/containment/FileRules.h"
#include "runtime/containment/NoMoreFilesOrPrograms.h"

namespace vuo {
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
  limit(RLIMIT_CPU, mostProcessorSeconds, 1);
  limit(RLIMIT_FSIZE, mostOutput);
#ifndef VUO_SANITIZED  // a sanitizer reserves more addresses than any machine has memory
  limit(RLIMIT_AS, mostMemory);
#endif
}

bool write(int file, const std::string& text) {
  for (std::size_t done = 0; done < text.size();) {
    const ssize_t count = ::write(file, text.data() + done, text.size() - done);
    if (count < 0) return false;
    done += static_cast<std::size_t>(count);
  }
  return true;
}

std::string resultFor(const std::string& composition) {
  Faults faults;
  message::Result result;
  faults.about({}, "", [&] {
    try {
      const Plan plan = planOfComposition(composition, faults);
      for (const SourceFile& file : plan.files) result.files.push_back(file.name);
      if (!faults.areErrors()) result.artefact = artefactOf(serialized(plan));
    } catch (const std::bad_alloc&) {
      throw std::runtime_error("it needs too much memory to be compiled");
    }
  });
  result.faults = faults.take();
  return encoded(result);
}

}  // namespace

void compileAndExit(const std::string& composition, int output, pid_t parent) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) _exit(1);  // it is gone already
  close(compilerSocket);              // the next composition's is not this one's to hear
  limitOneself();
  readNothingBut({composition, std::filesystem::path(composition).parent_path()});
  noMoreFilesOrPrograms();
  _exit(write(output, resultFor(composition)) ? 0 : 1);
}

}  // namespace vuo
