#pragma once

#include <memory>
#include <string_view>

#include "Brannow/ZQVuoCompositionPort.h"
#include "composition/PublishedLine.h"

/// The type that a composition file spells so ("VuoReal", …); Undefined for any other text.
ZQVuoPortType portTypeNamed(std::string_view typeName);
/// The other way round; null for Undefined and for a value outside the eight.
const char* nameOfPortType(ZQVuoPortType type);

/// Fills a port's value fields from its line. Null on success, else the log line that says which
/// default could not be understood; the port then has none. The line's problems tell of every value
/// that is not of the port's type.
const char* fillPortValues(ZQVuoCompositionPort& port, const LineAttributes& attributes);
