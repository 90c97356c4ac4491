#include "host/view/NumberRange.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double kLargest = 1e15;

double usableStep(const ZQVuoCompositionPort& port) {
  const double step = port.stepVal().value_or(0);
  const bool isUsable = std::isfinite(step) && step > 0;
  if (port.portType() == ZQVuoPortType_Integer)
    return isUsable ? std::max(1.0, std::round(step)) : 1;
  return isUsable ? step : 0;
}

std::optional<double> usableEnd(std::optional<double> end) {
  return end && std::isfinite(*end) ? end : std::nullopt;
}

}  // namespace

NumberRange::NumberRange(const ZQVuoCompositionPort& port)
    : _isInteger(port.portType() == ZQVuoPortType_Integer),
      _min(usableEnd(port.minVal())),
      _max(usableEnd(port.maxVal())),
      _step(usableStep(port)) {}

bool NumberRange::isSlider() const {
  return _min && _max && *_min < *_max && std::fabs(*_min) <= kLargest &&
         std::fabs(*_max) <= kLargest;
}

double NumberRange::nearest(double number) const {
  if (_max && number >= *_max) return *_max;
  if (_min && number <= *_min) return *_min;
  if (_step == 0 || std::fabs(number) > kLargest) return number;
  const double from = _min.value_or(0);
  const double snapped = from + std::round((number - from) / _step) * _step;
  return _max ? std::min(snapped, *_max) : snapped;
}

int NumberRange::decimals() const {
  if (_isInteger) return 0;
  const double apart = _step > 0 ? _step : isSlider() ? (*_max - *_min) / 1000 : 0.001;
  constexpr int kMost = 6;
  int decimals = 0;
  for (double rest = apart; decimals < kMost && std::fabs(rest - std::round(rest)) > 1e-6 * rest;
       ++decimals)
    rest *= 10;
  return decimals;
}

double NumberRange::dragSpeed(double number) const {
  if (_step > 0) return _step;
  return std::max(0.001, std::fabs(number) * 0.005);
}
