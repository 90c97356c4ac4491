// What the compiler program and whoever starts it agree upon.
//
//   vuo-compiler COMPOSITION
//
// The file at descriptor 3 then holds a library's artefact (VuoArtefact.h), or `faultMark` and what
// is wrong with the composition. Anything else means that the program did not come to its end.
#pragma once

#include <sys/resource.h>

#include <string_view>

namespace vuo {

constexpr int compilerOutput = 3;
constexpr std::string_view faultMark = "fault: ";

/// What one compile may use. VuoCompiler.h tells hosts.
constexpr rlim_t mostProcessorSeconds = 10;
constexpr rlim_t mostMemory = rlim_t{1} << 30;
constexpr rlim_t mostOutput = rlim_t{128} << 20;

}  // namespace vuo
