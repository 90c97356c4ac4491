#pragma once

#include <string_view>

/// The longest decimal number at the beginning of a text, white space before it skipped: an
/// optional sign, digits, an optional "." with digits, an optional exponent. The same in every
/// locale.
struct LeadingNumber {
  explicit LeadingNumber(std::string_view text);

  /// 0 when the text begins with no number; infinite when it is too large.
  double value = 0;
  /// Whether nothing comes behind the number.
  bool isWholeText = false;
};
