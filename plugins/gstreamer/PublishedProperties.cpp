#include "gstreamer/PublishedProperties.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <sstream>

namespace {

constexpr auto kInputFlags =
    static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS | GST_PARAM_CONTROLLABLE |
                             GST_PARAM_MUTABLE_PLAYING);
constexpr auto kTextFlags = static_cast<GParamFlags>(G_PARAM_READWRITE | GST_PARAM_MUTABLE_PLAYING);
constexpr auto kOutputFlags = G_PARAM_READABLE;

using Property = PublishedProperties::Property;
using Part = PublishedProperties::Part;

bool isServedByElement(const ZQVuoComposition& composition, const ZQVuoComposition::Port& port) {
  return port == composition.runnerWidthPort() || port == composition.runnerHeightPort() ||
         port == composition.runnerTimePort() || port->portType() == ZQVuoPortType_Image;
}

/// As GObject wants the names of properties.
std::string propertyName(std::string name) {
  for (char& letter : name)
    if (!g_ascii_isalnum(letter) && letter != '_') letter = '-';
  return !name.empty() && g_ascii_isalpha(name[0]) ? name : "input-" + name;
}

guint channel(double component, int shift) {
  return static_cast<guint>(std::lround(std::clamp(component, 0.0, 1.0) * 255.0)) << shift;
}

guint argbOf(const ZQVuoColor& color) {
  return channel(color.alpha, 24) | channel(color.red, 16) | channel(color.green, 8) |
         channel(color.blue, 0);
}

ZQVuoColor colorOf(guint argb) {
  const auto component = [argb](int shift) { return ((argb >> shift) & 0xff) / 255.0; };
  return {component(16), component(8), component(0), component(24)};
}

double partOf(const ZQVuoPoint& point, Part part) {
  return part == Part::X ? point.x : point.y;
}

std::string numberText(double number) {
  std::ostringstream text;
  text << number;
  return text.str();
}

std::string description(const Property& property) {
  const auto& port = *property.port;
  std::string text = std::string(property.isOutput ? "Output" : "Input") + " \"" + port.portName() +
                     "\" of the composition: ";
  switch (port.portType()) {
    case ZQVuoPortType_Color:
      return text + "a color, 0xAARRGGBB";
    case ZQVuoPortType_Point2D:
      return text + (property.part == Part::X ? "a point's x" : "a point's y");
    case ZQVuoPortType_Boolean:
      return text + "true or false";
    case ZQVuoPortType_Text:
      return text + "a text";
    case ZQVuoPortType_Integer:
      text += "a whole number";
      break;
    default:
      text += "a number";
      break;
  }
  if (const auto step = port.stepVal()) text += ", in steps of " + numberText(*step);
  return text;
}

struct Range {
  double least, most, usual;
};

/// GObject takes no default outside the range.
Range rangeOf(const Property& property, double least, double most) {
  const auto& port = *property.port;
  double usual = 0;
  if (const auto value = port.defaultVal()) {
    if (const auto point = value->pointValue()) usual = partOf(*point, property.part);
    usual = value->doubleValue().value_or(usual);
  }
  const bool isSuggested = !property.isOutput && property.part == Part::Whole;
  if (isSuggested) {
    least = port.minVal().value_or(least);
    most = port.maxVal().value_or(most);
  }
  if (!std::isfinite(usual)) usual = 0;
  return {std::min(least, usual), std::max(most, usual), usual};
}

gint64 wholeNumber(double number) {
  return ZQVuoPortValue(number).longLongValue().value_or(0);
}

GParamSpec* specOf(const Property& property) {
  const auto& port = *property.port;
  const char* name = property.name.c_str();
  const char* nick = port.portName().c_str();
  const std::string blurb = description(property);
  const auto value = port.defaultVal();
  // The strings are copied: the flag for those that last is for inputs of the plug-in's own.
  const auto flags =
      property.isOutput
          ? kOutputFlags
          : static_cast<GParamFlags>(kInputFlags & ~static_cast<guint>(G_PARAM_STATIC_STRINGS));
  switch (port.portType()) {
    case ZQVuoPortType_Boolean: {
      const bool usual = value && value->boolValue().value_or(false);
      return g_param_spec_boolean(name, nick, blurb.c_str(), usual, flags);
    }
    case ZQVuoPortType_Integer: {
      constexpr double kMost = 9007199254740992;  // beyond, not every whole number is there
      const Range range = rangeOf(property, -kMost, kMost);
      return g_param_spec_int64(name, nick, blurb.c_str(), wholeNumber(range.least),
                                wholeNumber(range.most), wholeNumber(range.usual), flags);
    }
    case ZQVuoPortType_Color: {
      const auto color = value ? value->colorValue() : std::nullopt;
      return g_param_spec_uint(name, nick, blurb.c_str(), 0, G_MAXUINT32,
                               argbOf(color.value_or(ZQVuoColor{})), flags);
    }
    case ZQVuoPortType_Text: {
      const std::string* text = value ? value->stringValue() : nullptr;
      return g_param_spec_string(name, nick, blurb.c_str(), text ? text->c_str() : "",
                                 property.isOutput ? kOutputFlags : kTextFlags);
    }
    default: {
      constexpr double kMost = std::numeric_limits<double>::max();
      const Range range = rangeOf(property, -kMost, kMost);
      return g_param_spec_double(name, nick, blurb.c_str(), range.least, range.most, range.usual,
                                 flags);
    }
  }
}

}  // namespace

PublishedProperties::PublishedProperties(const ZQVuoComposition& composition) {
  for (const auto& port : composition.publishedInputPorts())
    if (!isServedByElement(composition, port)) add(port, false);
  for (const auto& port : composition.publishedOutputPorts())
    if (port->portType() != ZQVuoPortType_Image) add(port, true);
}

void PublishedProperties::add(const std::shared_ptr<ZQVuoCompositionPort>& port, bool isOutput) {
  const std::string name = propertyName(port->portName());
  switch (port->portType()) {
    case ZQVuoPortType_Point2D:
      _properties.push_back({port, Part::X, isOutput, name + "-x"});
      _properties.push_back({port, Part::Y, isOutput, name + "-y"});
      break;
    case ZQVuoPortType_Real:
    case ZQVuoPortType_Integer:
    case ZQVuoPortType_Color:
    case ZQVuoPortType_Boolean:
    case ZQVuoPortType_Text:
      _properties.push_back({port, Part::Whole, isOutput, name});
      break;
    default:
      break;  // nothing that the framework understands
  }
}

void PublishedProperties::install(GObjectClass* klass, guint firstId) {
  _firstId = firstId;
  for (std::size_t i = 0; i < _properties.size(); ++i) {
    Property& property = _properties[i];
    // Names of the element's own, and inputs that have an output's name.
    while (g_object_class_find_property(klass, property.name.c_str()))
      property.name = (property.isOutput ? "output-" : "input-") + property.name;
    g_object_class_install_property(klass, firstId + static_cast<guint>(i), specOf(property));
  }
}

const Property* PublishedProperties::property(guint id) const {
  const guint index = id - _firstId;
  return id >= _firstId && index < _properties.size() ? &_properties[index] : nullptr;
}

PublishedProperties::Value PublishedProperties::changed(const Property& property,
                                                        const Value& before, const GValue& value) {
  switch (property.port->portType()) {
    case ZQVuoPortType_Boolean:
      return std::make_shared<const ZQVuoPortValue>(g_value_get_boolean(&value) != FALSE);
    case ZQVuoPortType_Integer:
      return std::make_shared<const ZQVuoPortValue>(g_value_get_int64(&value));
    case ZQVuoPortType_Color:
      return std::make_shared<const ZQVuoPortValue>(colorOf(g_value_get_uint(&value)));
    case ZQVuoPortType_Text: {
      const char* text = g_value_get_string(&value);
      return std::make_shared<const ZQVuoPortValue>(text ? text : "");
    }
    case ZQVuoPortType_Point2D: {
      ZQVuoPoint point = before ? before->pointValue().value_or(ZQVuoPoint{}) : ZQVuoPoint{};
      (property.part == Part::X ? point.x : point.y) = g_value_get_double(&value);
      return std::make_shared<const ZQVuoPortValue>(point);
    }
    default:
      return std::make_shared<const ZQVuoPortValue>(g_value_get_double(&value));
  }
}

void PublishedProperties::read(const Property& property, const Value& held, GValue& value) {
  static const ZQVuoPortValue nothing(0);
  const ZQVuoPortValue& from = held ? *held : nothing;
  switch (property.port->portType()) {
    case ZQVuoPortType_Boolean:
      g_value_set_boolean(&value, from.boolValue().value_or(false));
      break;
    case ZQVuoPortType_Integer:
      g_value_set_int64(&value, from.longLongValue().value_or(0));
      break;
    case ZQVuoPortType_Color:
      g_value_set_uint(&value, argbOf(from.colorValue().value_or(ZQVuoColor{})));
      break;
    case ZQVuoPortType_Text:
      g_value_set_string(&value, from.stringValue() ? from.stringValue()->c_str() : "");
      break;
    case ZQVuoPortType_Point2D:
      g_value_set_double(&value, partOf(from.pointValue().value_or(ZQVuoPoint{}), property.part));
      break;
    default:
      g_value_set_double(&value, from.doubleValue().value_or(0));
      break;
  }
}
