#pragma once

#include <optional>

#include "Brannow/ZQVuoCompositionPort.h"

/// The numbers that a port's control offers, from the port's description.
class NumberRange {
 public:
  explicit NumberRange(const ZQVuoCompositionPort& port);

  /// Both ends are there and the control can show what lies between them.
  bool isSlider() const;
  double min() const { return _min.value_or(0); }
  double max() const { return _max.value_or(0); }
  /// The nearest number that is offered: within the ends, on a step from the lower end or, without
  /// one, from 0. The ends themselves are always offered.
  double nearest(double number) const;
  /// How many decimals tell two neighbouring numbers apart.
  int decimals() const;
  /// How far a drag by one unit of length goes from `number`.
  double dragSpeed(double number) const;

 private:
  const bool _isInteger;
  const std::optional<double> _min;
  const std::optional<double> _max;
  const double _step;  // 0 without one
};
