#pragma once

#include <optional>

namespace frei0r {

/// What a host's time is in seconds. frei0r's own unit is the second; ffmpeg's filters give
/// milliseconds, and are known by the code that the call comes from. The environment's
/// BRANNOW_FREI0R_CLOCK, "s" or "ms", goes before that.
class HostClock {
 public:
  double seconds(double time, const void* caller) {
    if (!_unitsPerSecond) _unitsPerSecond = unitsPerSecond(caller);
    return time / *_unitsPerSecond;
  }

 private:
  static double unitsPerSecond(const void* caller);
  std::optional<double> _unitsPerSecond;  // the host of an instance stays the same
};

}  // namespace frei0r
