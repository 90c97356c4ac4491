#include "runtime/compiling/CompiledPlan.h"

#include <sys/mman.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <stdexcept>

#include "runtime/SourceFile.h"
#include "runtime/VuoArtefact.h"
#include "runtime/compiler/CompilerProtocol.h"
#include "runtime/compiling/CompilerProcess.h"

namespace vuo {
namespace {

/// For a compiler that waits instead of computing: on a file server that does not answer, or for a
/// machine that is busy with other things.
constexpr std::chrono::seconds patience{20};

std::string mebibytes(rlim_t bytes) {
  return std::to_string(bytes >> 20) + " MiB";
}

struct Result {
  std::optional<siginfo_t> end;  ///< nothing where the program is gone or was ended for its delay
  bool inTime = true;
  platform::FileDescriptor output;
};

Result compileWith(CompilerProcess& compiler, const std::string& composition) {
  Result result;
  result.output = platform::FileDescriptor(memfd_create("vuo plan", MFD_CLOEXEC));
  if (!result.output) throw std::runtime_error("there is no memory for its plan");
  const auto deadline = std::chrono::steady_clock::now() + patience;
  result.end = compiler.compile(composition, result.output.get(), patience);
  result.inTime = std::chrono::steady_clock::now() < deadline;
  return result;
}

/// A program that ended while nobody compiled, or was ended by somebody, is replaced once.
Result compile(const std::string& composition) {
  for (bool isLast = false;; isLast = true) {
    auto compiler = CompilerProcess::acquire();
    Result result = compileWith(*compiler, composition);
    if (result.end) CompilerProcess::giveBack(std::move(compiler));
    if (result.end || !result.inTime || isLast) return result;
  }
}

/// What to say of a process that left neither a plan nor a fault.
std::string howItEnded(const Result& result) {
  const bool bySignal = result.end && result.end->si_code != CLD_EXITED;
  const int signal = bySignal ? result.end->si_status : 0;
  if (!result.inTime || signal == SIGXCPU)
    return "compiling took more than " + std::to_string(mostProcessorSeconds) +
           " s of processor time or " + std::to_string(patience.count()) + " s in all";
  if (signal == SIGXFSZ) return "what it compiles to is larger than " + mebibytes(mostOutput);
  if (!result.end) return "the compiler was ended twice";
  return "the compiler left nothing: " + endDescription(result.end) + "; it may use " +
         mebibytes(mostMemory) + " of memory";
}

/// A message is for people to read, whatever a composition has made of it.
std::string shortened(std::string message) {
  constexpr std::size_t longest = 2000;
  if (message.size() <= longest) return message;
  std::size_t end = longest;
  while (end > 0 && (message[end] & 0xc0) == 0x80) --end;  // not in the middle of a letter
  return message.substr(0, end) + "…";
}

std::string contentsOf(const platform::FileDescriptor& file) {
  struct stat status {};
  if (fstat(file.get(), &status) != 0 || static_cast<rlim_t>(status.st_size) > mostOutput)
    return {};
  std::string contents(static_cast<std::size_t>(status.st_size), '\0');
  const ssize_t count = pread(file.get(), contents.data(), contents.size(), 0);
  return count == status.st_size ? contents : std::string();
}

std::string besideComposition(const std::string& composition, const std::string& name) {
  return pathOf(name, std::filesystem::path(composition).parent_path());
}

brannow::CompositionFault faultFrom(const message::CompileFault& fault,
                                    const std::string& composition) {
  return {fault.file.empty() ? composition : besideComposition(composition, fault.file),
          static_cast<std::size_t>(std::max(fault.line, 0)),
          static_cast<std::size_t>(std::max(fault.column, 0)), fault.isWarning,
          shortened(fault.what)};
}

}  // namespace

CompiledPlan compiledPlan(const std::string& compositionPath) {
  CompiledPlan plan;
  const auto fail = [&](const std::string& what) {
    plan.faults.push_back({compositionPath, 0, 0, false, what});
  };
  const Result result = compile(std::filesystem::absolute(compositionPath));
  const bool exited = result.end && result.end->si_code == CLD_EXITED;
  if (!exited || result.end->si_status != 0) {
    fail(howItEnded(result));
    return plan;
  }
  try {
    const auto left = decoded<message::Result>(contentsOf(result.output));
    for (const std::string& name : left.files)
      plan.files.push_back(besideComposition(compositionPath, name));
    bool isOfUse = true;
    for (const message::CompileFault& fault : left.faults.faults) {
      plan.faults.push_back(faultFrom(fault, compositionPath));
      isOfUse = isOfUse && fault.isWarning;
    }
    if (isOfUse) plan.text = planTextIn(left.artefact);
  } catch (const std::runtime_error& fault) {
    fail(std::string("the compiler left no plan. ") + fault.what());
  }
  return plan;
}

}  // namespace vuo
