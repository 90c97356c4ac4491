#include "Brannow/ZQVuoCompositionPort.h"

#include <atomic>
#include <utility>

#include "platform/system/LockedValues.h"
#include "platform/system/WithMemory.h"

/// A port's fields are the port itself, in one piece of memory: a file may publish thousands.
struct ZQVuoCompositionPort::Fields : ZQVuoCompositionPort {
  Fields(ZQVuoPortType type, std::string name) : portName(std::move(name)), portType(type) {}

  struct Values {
    std::optional<double> minVal;
    std::optional<double> maxVal;
    Value defaultVal;
    std::optional<double> stepVal;
  };

  const std::string portName;
  const ZQVuoPortType portType;
  platform::LockedValues<Values> values;
  std::atomic<bool> wantsUI{false};
};

std::shared_ptr<ZQVuoCompositionPort> ZQVuoCompositionPort::createWithPortType(
    ZQVuoPortType portType, const std::optional<std::string>& portName) {
  return initWithPortType(portType, portName);
}

std::shared_ptr<ZQVuoCompositionPort> ZQVuoCompositionPort::initWithPortType(
    ZQVuoPortType portType, const std::optional<std::string>& portName) {
  if (!portName) return nullptr;
  return platform::orNothing([&] { return std::make_shared<Fields>(portType, *portName); });
}

const ZQVuoCompositionPort::Fields& ZQVuoCompositionPort::fields() const {
  return static_cast<const Fields&>(*this);
}
ZQVuoCompositionPort::Fields& ZQVuoCompositionPort::fields() {
  return static_cast<Fields&>(*this);
}

const std::string& ZQVuoCompositionPort::portName() const {
  return fields().portName;
}
ZQVuoPortType ZQVuoCompositionPort::portType() const {
  return fields().portType;
}
std::optional<double> ZQVuoCompositionPort::minVal() const {
  return fields().values.read(&Fields::Values::minVal);
}
std::optional<double> ZQVuoCompositionPort::maxVal() const {
  return fields().values.read(&Fields::Values::maxVal);
}
ZQVuoCompositionPort::Value ZQVuoCompositionPort::defaultVal() const {
  return fields().values.read(&Fields::Values::defaultVal);
}
std::optional<double> ZQVuoCompositionPort::stepVal() const {
  return fields().values.read(&Fields::Values::stepVal);
}
bool ZQVuoCompositionPort::wantsUI() const {
  return fields().wantsUI.load(std::memory_order_relaxed);
}

void ZQVuoCompositionPort::setMinVal(std::optional<double> minVal) {
  fields().values.write(&Fields::Values::minVal, minVal);
}
void ZQVuoCompositionPort::setMaxVal(std::optional<double> maxVal) {
  fields().values.write(&Fields::Values::maxVal, maxVal);
}
void ZQVuoCompositionPort::setDefaultVal(Value defaultVal) {
  fields().values.write(&Fields::Values::defaultVal, std::move(defaultVal));
}
void ZQVuoCompositionPort::setStepVal(std::optional<double> stepVal) {
  fields().values.write(&Fields::Values::stepVal, stepVal);
}
void ZQVuoCompositionPort::setWantsUI(bool wantsUI) {
  fields().wantsUI.store(wantsUI, std::memory_order_relaxed);
}

std::string ZQVuoCompositionPort::description() const {
  const char* type = ZQVuoPortTypeDescription(portType());
  return platform::orNothing([&] {
    return std::string("<ZQVuoCompPort, ") + (type ? type : "(null)") + ", " + portName() + ">";
  });
}

const char* ZQVuoPortTypeDescription(ZQVuoPortType portType) {
  switch (portType) {
    case ZQVuoPortType_Undefined:
      return "Undefined";
    case ZQVuoPortType_Image:
      return "Image";
    case ZQVuoPortType_Real:
      return "Real";
    case ZQVuoPortType_Integer:
      return "Integer";
    case ZQVuoPortType_Color:
      return "Color";
    case ZQVuoPortType_Boolean:
      return "Boolean";
    case ZQVuoPortType_Point2D:
      return "Point2D";
    case ZQVuoPortType_Text:
      return "Text";
  }
  return nullptr;
}
