#pragma once

#include <gst/gst.h>

#include <memory>
#include <string>
#include <vector>

#include "Brannow/ZQVuoComposition.h"

/// The published ports of a composition as properties of an element: every input that is neither a
/// picture nor served by the element itself, and every output that is no picture.
///
/// Numbers, truth values and texts are properties of their kind. A color is 0xAARRGGBB, as
/// elsewhere in GStreamer, and a point is two properties, NAME-x and NAME-y: both can be
/// controlled.
class PublishedProperties {
 public:
  using Value = std::shared_ptr<const ZQVuoPortValue>;
  enum class Part { Whole, X, Y };
  struct Property {
    std::shared_ptr<ZQVuoCompositionPort> port;
    Part part = Part::Whole;
    bool isOutput = false;
    std::string name;  ///< of the property
  };

  explicit PublishedProperties(const ZQVuoComposition& composition);

  /// Gives the class its properties, with numbers from `firstId` on.
  void install(GObjectClass* klass, guint firstId);
  /// Null for an id that is none of these.
  const Property* property(guint id) const;

  /// What the port holds once the property has been given this value; `before` is what it holds.
  static Value changed(const Property& property, const Value& before, const GValue& value);
  /// Fills in a value that is of the property's type.
  static void read(const Property& property, const Value& held, GValue& value);

 private:
  void add(const std::shared_ptr<ZQVuoCompositionPort>& port, bool isOutput);

  std::vector<Property> _properties;
  guint _firstId = 0;
};
