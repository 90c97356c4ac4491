#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// How many frames a video has in a second, as the exact fraction that video files name.
struct FrameRate {
  std::int64_t frames = 30;
  std::int64_t seconds = 1;

  /// From "30", "29.97" (2997:100) or "30000:1001". None where the text is no rate from 0.001 to
  /// 1000.
  static std::optional<FrameRate> fromText(std::string_view text);

  /// When frame `index`, from 1, is shown, the first one at 0; as near as a double comes to it.
  double timeOf(int index) const;
  /// "30000:1001".
  std::string text() const;
};
