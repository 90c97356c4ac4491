#include "plugins/frei0r/HostClock.h"

#include <dlfcn.h>

#include <cstdlib>
#include <filesystem>
#include <string_view>

namespace frei0r {

double HostClock::unitsPerSecond(const void* caller) {
  constexpr double second = 1, millisecond = 1000;
  if (const char* named = std::getenv("BRANNOW_FREI0R_CLOCK"))
    return std::string_view(named) == "ms" ? millisecond : second;
  Dl_info info{};
  if (::dladdr(caller, &info) == 0 || !info.dli_fname) return second;
  const std::string file = std::filesystem::path(info.dli_fname).filename();
  // Where it is linked in, it is in the program itself.
  return file.starts_with("libavfilter") || file.starts_with("ff") ? millisecond : second;
}

}  // namespace frei0r
