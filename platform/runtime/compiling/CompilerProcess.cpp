#include "platform/runtime/compiling/CompilerProcess.h"

#include <sys/mman.h>
#include <sys/stat.h>

#include <chrono>
#include <cstring>
#include <stdexcept>

#include "platform/runtime/HelperFolder.h"
#include "platform/runtime/VuoArtefact.h"
#include "platform/runtime/compiler/CompilerProtocol.h"
#include "platform/runtime/process/ChildProcess.h"

namespace vuo {
namespace {

/// For a compiler that waits instead of computing: on a file server that does not answer, or for a
/// machine that is busy with other things.
constexpr std::chrono::seconds patience{20};

std::string mebibytes(rlim_t bytes) {
  return std::to_string(bytes >> 20) + " MiB";
}

/// What to say of a program that left neither a plan nor a fault.
std::string howItEnded(const std::optional<siginfo_t>& end, bool inTime) {
  const bool bySignal = end && end->si_code != CLD_EXITED;
  const int signal = bySignal ? end->si_status : 0;
  if (!inTime || signal == SIGXCPU)
    return "compiling took more than " + std::to_string(mostProcessorSeconds) +
           " s of processor time or " + std::to_string(patience.count()) + " s in all";
  if (signal == SIGXFSZ) return "what it compiles to is larger than " + mebibytes(mostOutput);
  if (bySignal) return std::string("the compiler crashed (") + strsignal(signal) + ")";
  const std::string status = end ? " with status " + std::to_string(end->si_status) : "";
  return "the compiler ended" + status + " and left nothing; it may use " + mebibytes(mostMemory) +
         " of memory";
}

std::string contentsOf(int file) {
  struct stat status {};
  if (fstat(file, &status) != 0 || status.st_size <= 0) return {};
  if (static_cast<rlim_t>(status.st_size) > mostOutput) return {};
  std::string contents(static_cast<std::size_t>(status.st_size), '\0');
  const ssize_t count = pread(file, contents.data(), contents.size(), 0);
  return count == status.st_size ? contents : std::string();
}

}  // namespace

std::string compiledPlan(const std::string& compositionPath) {
  const auto fail = [&](const std::string& what) {
    throw std::runtime_error(compositionPath + ": " + what);
  };
  const FileDescriptor output(memfd_create("vuo plan", MFD_CLOEXEC));
  if (!output) fail("there is no memory for its plan");
  ChildProcess compiler(helperFolder() + "/vuo-compiler", {compositionPath}, {output.get()});
  const bool inTime = compiler.hasEndedWithin(patience);
  const auto end = compiler.waitAtMost(std::chrono::milliseconds(0));

  const std::string result = contentsOf(output.get());
  if (result.starts_with(faultMark)) fail(result.substr(faultMark.size()));
  if (result.empty() || !inTime || (end && end->si_code != CLD_EXITED))
    fail(howItEnded(end, inTime));
  try {
    return planTextIn(result);
  } catch (const std::runtime_error&) {
    fail("the compiler did not come to its end");
  }
  return {};
}

}  // namespace vuo
