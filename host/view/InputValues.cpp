#include "host/view/InputValues.h"

#include <filesystem>

namespace {

ZQVuoPortValue neutralValue(ZQVuoPortType type) {
  switch (type) {
    case ZQVuoPortType_Boolean:
      return false;
    case ZQVuoPortType_Color:
      return ZQVuoColor{0, 0, 0, 0};
    case ZQVuoPortType_Point2D:
      return ZQVuoPoint{0, 0};
    case ZQVuoPortType_Text:
      return "";
    default:
      return 0;
  }
}

}  // namespace

ZQVuoPortValue InputValues::current(const ZQVuoCompositionPort& port) const {
  const auto found = _values.find(port.portName());
  if (found != _values.end()) return found->second;
  const auto value = port.defaultVal();
  return value ? *value : neutralValue(port.portType());
}

bool InputValues::isDefault(const ZQVuoCompositionPort& port) const {
  return !_values.contains(port.portName()) && !_images.contains(port.portName());
}

std::string InputValues::imageFile(const ZQVuoCompositionPort& port) const {
  const auto found = _images.find(port.portName());
  return found == _images.end() ? "" : found->second.file;
}

void InputValues::set(const ZQVuoCompositionPort& port, ZQVuoPortValue value) {
  _values.insert_or_assign(port.portName(), std::move(value));
}

void InputValues::setImage(const ZQVuoCompositionPort& port, std::string file, FileWatch watch,
                           ZQBufferRef image) {
  _images.insert_or_assign(port.portName(),
                           Image{std::move(file), std::move(watch), std::move(image)});
}

std::vector<std::string> InputValues::popChangedImages(FileWatch::Clock::time_point now) {
  std::vector<std::string> names;
  for (auto& [name, image] : _images) {
    if (image.watch.changed(now)) names.push_back(name);
  }
  return names;
}

void InputValues::forget(const ZQVuoCompositionPort& port) {
  _values.erase(port.portName());
  _images.erase(port.portName());
}

void InputValues::clear() {
  _values.clear();
  _images.clear();
}

Preset InputValues::preset() const {
  Preset preset;
  for (const auto& [name, value] : _values)
    preset.values[name] = std::make_shared<const ZQVuoPortValue>(value);
  for (const auto& [name, image] : _images)
    preset.imageFiles[name] = std::filesystem::absolute(image.file).string();
  return preset;
}

VuoFrameRequest InputValues::request() const {
  VuoFrameRequest request;
  for (const auto& [name, value] : _values)
    request.values.emplace(name, std::make_shared<const ZQVuoPortValue>(value));
  for (const auto& [name, image] : _images) request.images.emplace(name, image.buffer);
  return request;
}
