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
/// holds a library's artefact (VuoArtefact.h), or `faultMark` and what is wrong with the
/// composition. Anything else means that the process did not come to its end.
struct Compiled {
  std::int32_t code = 0, status = 0;
  static constexpr auto members = std::tuple(&Compiled::code, &Compiled::status);
};

}  // namespace message

constexpr std::string_view faultMark = "fault: ";

/// What one compile may use. VuoCompiler.h tells hosts.
constexpr rlim_t mostProcessorSeconds = 10;
constexpr rlim_t mostMemory = rlim_t{1} << 30;
constexpr rlim_t mostOutput = rlim_t{128} << 20;

}  // namespace vuo
