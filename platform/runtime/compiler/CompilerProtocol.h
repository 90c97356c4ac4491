// The messages between VuoCompiler and the compiler program, which stays for further compiles.
//
// to the program
//   {"kind": "compile", "file": path}     with the file that takes the result
//
// from the program
//   {"kind": "ended", "code": c, "status": s}
//       how the process ended that compiled, as siginfo_t tells it; the file then holds a library's
//       artefact (VuoArtefact.h), or `faultMark` and what is wrong with the composition. Anything
//       else means that the process did not come to its end.
#pragma once

#include <sys/resource.h>

#include <string_view>

namespace vuo {

/// The descriptor at which the program finds its end of the socket pair.
constexpr int compilerSocket = 3;
constexpr std::string_view faultMark = "fault: ";

/// What one compile may use. VuoCompiler.h tells hosts.
constexpr rlim_t mostProcessorSeconds = 10;
constexpr rlim_t mostMemory = rlim_t{1} << 30;
constexpr rlim_t mostOutput = rlim_t{128} << 20;

}  // namespace vuo
