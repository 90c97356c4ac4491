#include "runtime/containment/MinimalEnvironment.h"

#include <unistd.h>

#include <algorithm>
#include <string_view>

namespace vuo {
namespace {

/// What the names begin with. LD_PRELOAD is not among them: what it brings was meant for the host.
constexpr std::string_view taken[] = {
    "LD_LIBRARY_PATH=",
    "__EGL_",  // libglvnd: which vendor
    "EGL_",
    "__GL_",  // NVIDIA
    "__NV_",
    "DRI_PRIME=",
    "DRIRC_",
    "GALLIUM_",
    "LIBGL_",
    "LP_",  // llvmpipe
    "MESA_",
    "AMD_",
    "RADEON_",
    "INTEL_",
    "NOUVEAU_",
#ifdef VUO_SANITIZED
    "ASAN_OPTIONS=",
    "LSAN_OPTIONS=",
    "TSAN_OPTIONS=",
    "UBSAN_OPTIONS=",
#endif
};

}  // namespace

std::vector<std::string> minimalEnvironment() {
  std::vector<std::string> variables;
  for (char** variable = environ; variable && *variable; ++variable) {
    const std::string_view text = *variable;
    if (std::any_of(std::begin(taken), std::end(taken),
                    [&](std::string_view name) { return text.starts_with(name); }))
      variables.emplace_back(text);
  }
  return variables;
}

}  // namespace vuo
