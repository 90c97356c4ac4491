#pragma once

#include <string>

#include "Brannow/BrannowExport.h"

/// The text without a double quote at its beginning and without one at its end, each only if it is
/// there; quotes inside stay. A text that is one double quote gives an empty one.
BRANNOW_API std::string stringByTrimmingQuotesFromEnds(std::string text);
