#pragma once

#include <muParser.h>

#include <cmath>

namespace vuo {

/// The language of the expression node: the library's, and what clocks need.
class ExpressionParser : public mu::Parser {
 public:
  ExpressionParser() {
    DefineFun("floor", floor);
    DefineFun("mod", mod);
  }

 private:
  static double floor(double x) { return std::floor(x); }

  /// As in shaders: the result has the sign of `period`. Exact, however long the clock has run.
  static double mod(double x, double period) {
    const double rest = std::fmod(x, period);
    return rest != 0 && (rest < 0) != (period < 0) ? rest + period : rest;
  }
};

}  // namespace vuo
