// A published input as a parameter of frei0r.
#pragma once

#include <frei0r.h>

#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "Brannow/ZQVuoComposition.h"

namespace frei0r {

/// Numbers go from 0 to 1, which stands for the range that the composition suggests; where it
/// suggests none, from 0 to 1 or twice the default. A position's y runs from the top, as rows do.
/// Colors have no alpha: that of the default stays.
class Parameter {
 public:
  using Value = std::variant<double, f0r_param_color_t, f0r_param_position_t, std::string>;

  /// The parameters of a composition, in the order of its inputs: all but what the host gives by
  /// other ways and images.
  static std::vector<Parameter> allOf(const ZQVuoComposition& composition);

  const std::string& name() const { return _port->portName(); }
  int type() const { return _type; }
  const std::string& explanation() const { return _explanation; }
  const Value& defaultValue() const { return _default; }

  /// What frei0r's pointer leads to; the type's own kind, always.
  Value read(const void* pointer) const;
  /// A text stays `value`'s.
  static void write(const Value& value, void* pointer);
  /// What the input gets; null for what is no number.
  std::shared_ptr<const ZQVuoPortValue> inputValue(const Value& value) const;

 private:
  Parameter(ZQVuoComposition::Port port, int type, bool isFile);
  void setRange();
  double fromNumber(double number) const { return (number - _min) / (_max - _min); }
  Value defaultOfType() const;
  std::string words() const;

  ZQVuoComposition::Port _port;
  int _type;
  bool _isFile;
  double _min = 0, _max = 1;
  Value _default;
  std::string _explanation;
};

}  // namespace frei0r
