// What VuoCompiler and the compiler program say to each other. The program stays for further
// compiles.
#pragma once

#include <sys/resource.h>

#include <string_view>

#include "runtime/transport/Codec.h"

namespace vuo {

/// The descriptor at which the program finds its end of the socket pair.
constexpr int compilerSocket = 3;

namespace message {

/// To the program. The descriptor is that of the file that takes the result.
struct Compile {
  std::string file;
  static constexpr auto members = std::tuple(&Compile::file);
};

/// From the program: how the process ended that compiled, as siginfo_t tells it. The file then
/// holds a Result, with a library's artefact (VuoArtefact.h) where none of the faults is an error.
/// Anything else means that the process did not come to its end.
struct Compiled {
  std::int32_t code = 0, status = 0;
  static constexpr auto members = std::tuple(&Compiled::code, &Compiled::status);
};

/// What is wrong with a composition. `file` is as the composition names it, empty for itself.
struct CompileFault {
  std::string file;
  std::int32_t line = 0, column = 0;  ///< counted from 1, 0 where there is none
  bool isWarning = false;
  std::string what;
  static constexpr auto members =
      std::tuple(&CompileFault::file, &CompileFault::line, &CompileFault::column,
                 &CompileFault::isWarning, &CompileFault::what);
};

struct FaultList {
  std::vector<CompileFault> faults;
  static constexpr auto members = std::tuple(&FaultList::faults);
};

/// All that a compile leaves.
struct Result {
  FaultList faults;
  std::string artefact;
  std::vector<std::string> files;  ///< that the composition names, as it names them
  static constexpr auto members = std::tuple(&Result::faults, &Result::artefact, &Result::files);
};

}  // namespace message

/// What one compile may use. VuoCompiler.h tells hosts.
constexpr rlim_t mostProcessorSeconds = 10;
constexpr rlim_t mostMemory = rlim_t{1} << 30;
constexpr rlim_t mostOutput = rlim_t{128} << 20;

}  // namespace vuo
