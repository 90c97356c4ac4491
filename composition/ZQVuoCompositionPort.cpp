#include "Brannow/ZQVuoCompositionPort.h"

#include <mutex>
#include <utility>

std::shared_ptr<ZQVuoCompositionPort> ZQVuoCompositionPort::createWithPortType(
    ZQVuoPortType portType, const std::optional<std::string>& portName) {
  return initWithPortType(portType, portName);
}

std::shared_ptr<ZQVuoCompositionPort> ZQVuoCompositionPort::initWithPortType(
    ZQVuoPortType portType, const std::optional<std::string>& portName) {
  // Opens the private constructor to make_shared, which spares a second allocation per port.
  struct NewPort : ZQVuoCompositionPort {
    NewPort(ZQVuoPortType type, const std::string& name) : ZQVuoCompositionPort(type, name) {}
  };
  if (!portName) return nullptr;
  return std::make_shared<NewPort>(portType, *portName);
}

ZQVuoCompositionPort::ZQVuoCompositionPort(ZQVuoPortType portType, std::string portName)
    : _portName(std::move(portName)), _portType(portType) {}

template <class Field>
Field ZQVuoCompositionPort::read(const Field& field) const {
  std::lock_guard hold(_valueLock);
  return field;
}

template <class Field>
void ZQVuoCompositionPort::write(Field& field, Field value) {
  std::lock_guard hold(_valueLock);
  std::swap(field, value);  // the old value goes after the lock has been released
}

std::optional<double> ZQVuoCompositionPort::minVal() const {
  return read(_minVal);
}
std::optional<double> ZQVuoCompositionPort::maxVal() const {
  return read(_maxVal);
}
ZQVuoCompositionPort::Value ZQVuoCompositionPort::defaultVal() const {
  return read(_defaultVal);
}
std::optional<double> ZQVuoCompositionPort::stepVal() const {
  return read(_stepVal);
}

void ZQVuoCompositionPort::setMinVal(std::optional<double> minVal) {
  write(_minVal, minVal);
}
void ZQVuoCompositionPort::setMaxVal(std::optional<double> maxVal) {
  write(_maxVal, maxVal);
}
void ZQVuoCompositionPort::setDefaultVal(Value defaultVal) {
  write(_defaultVal, std::move(defaultVal));
}
void ZQVuoCompositionPort::setStepVal(std::optional<double> stepVal) {
  write(_stepVal, stepVal);
}

std::string ZQVuoCompositionPort::description() const {
  const char* type = ZQVuoPortTypeDescription(_portType);
  return std::string("<ZQVuoCompPort, ") + (type ? type : "(null)") + ", " + _portName + ">";
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
