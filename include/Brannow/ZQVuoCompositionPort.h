// One published port of a composition.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "Brannow/BrannowExport.h"
#include "Brannow/ZQVuoPortValue.h"

/// A port's type. The values are part of the interface; a port may hold others, which nothing in
/// the framework understands.
enum ZQVuoPortType : std::int64_t {
  ZQVuoPortType_Undefined = 0,
  ZQVuoPortType_Image = 1,
  ZQVuoPortType_Real = 2,
  ZQVuoPortType_Integer = 3,
  ZQVuoPortType_Color = 4,
  ZQVuoPortType_Boolean = 5,
  ZQVuoPortType_Point2D = 6,
  ZQVuoPortType_Text = 7,
};

/// A port's name and type never change. The value fields may be read and written from any threads
/// at once: a reader gets a whole value, the old or the new one. No operation blocks. Nothing
/// is thrown: without memory a new port is null and a text empty.
class BRANNOW_API ZQVuoCompositionPort {
 public:
  using Value = std::shared_ptr<const ZQVuoPortValue>;

  /// A new port, or null when the name is absent or there is no memory for it. The type is stored
  /// unchanged.
  static std::shared_ptr<ZQVuoCompositionPort> createWithPortType(
      ZQVuoPortType portType, const std::optional<std::string>& portName);
  static std::shared_ptr<ZQVuoCompositionPort> initWithPortType(
      ZQVuoPortType portType, const std::optional<std::string>& portName);

  /// The published name, exactly as the composition file spells it.
  const std::string& portName() const;
  ZQVuoPortType portType() const;

  /// The range, default and step that the composition's author suggests; absent where the file
  /// gives none. The kind of the default follows the port's type. Setting none clears a field.
  std::optional<double> minVal() const;
  std::optional<double> maxVal() const;
  Value defaultVal() const;
  std::optional<double> stepVal() const;
  void setMinVal(std::optional<double> minVal);
  void setMaxVal(std::optional<double> maxVal);
  void setDefaultVal(Value defaultVal);
  void setStepVal(std::optional<double> stepVal);

  /// The host should offer a control for this port.
  bool wantsUI() const;
  void setWantsUI(bool wantsUI);

  /// "<ZQVuoCompPort, Real, width>" for a Real port named width.
  std::string description() const;

  ZQVuoCompositionPort(const ZQVuoCompositionPort&) = delete;
  ZQVuoCompositionPort& operator=(const ZQVuoCompositionPort&) = delete;

 private:
  struct Fields;  // what every port is, seen from inside
  ZQVuoCompositionPort() = default;
  ~ZQVuoCompositionPort() = default;
  const Fields& fields() const;
  Fields& fields();
};

/// The description string of a type ("Image", "Point2D", …); null for a value outside the eight.
BRANNOW_API const char* ZQVuoPortTypeDescription(ZQVuoPortType portType);
