#pragma once

#include <string>

#include "Brannow/ZQVuoComposition.h"
#include "host/Preset.h"

/// What a composition publishes, as one line of JSON without the line's end. Numbers carry all
/// their digits; an infinite one is written as 1e999 or -1e999, which every reader takes for
/// infinity. The bytes of the path are passed on as they are. What a preset says stands in place of
/// the defaults.
std::string describeJson(const ZQVuoComposition& composition, const Preset& preset = {});
