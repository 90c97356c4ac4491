#pragma once

#include <string_view>

/// The longest decimal number at the beginning of a text, white space before it skipped: an
/// optional sign, digits, an optional "." with digits, an optional exponent. 0 when the text begins
/// with none; infinite when it is too large. The same in every locale.
double leadingNumber(std::string_view text);
