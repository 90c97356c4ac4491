#pragma once

#include <memory>
#include <string>

#include "Brannow/ZQVuoCompositionPort.h"

/// The value that `text` stands for on a port of this type, or null with the reason in `problem`.
/// Numbers, "true" and "false", colours as "#RRGGBB", "#RRGGBBAA", "r,g,b" or "r,g,b,a" from 0 to
/// 1, points as "x,y", any text.
std::shared_ptr<const ZQVuoPortValue> valueFromText(const std::string& text, ZQVuoPortType type,
                                                    std::string& problem);

/// A value in the same notation.
std::string textFromValue(const ZQVuoPortValue& value);
