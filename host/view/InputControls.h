// The controls of published inputs, made from their descriptions.
#pragma once

#include <optional>

#include "Brannow/ZQVuoCompositionPort.h"

/// Draws the control for a port's value as wide as there is room and returns the new value when the
/// user has changed it. None for a port that holds an image.
std::optional<ZQVuoPortValue> valueControl(const ZQVuoCompositionPort& port,
                                           const ZQVuoPortValue& value, float scale);
