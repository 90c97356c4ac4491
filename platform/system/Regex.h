#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

/// A compiled regular expression over bytes that ignores ASCII case. Immutable, so any number of
/// threads may match with one object; matching uses no recursion and no locale.
class Regex {
 public:
  /// `pattern` must be a valid expression.
  explicit Regex(const std::string& pattern);
  ~Regex();
  Regex(const Regex&) = delete;
  Regex& operator=(const Regex&) = delete;

  /// Groups 1 and up of the first match anywhere in `text`, or none; no match either when matching
  /// would go beyond the library's limits. The groups point into `text`. One that took no part in
  /// the match is empty, or missing where no later one did.
  std::optional<std::vector<std::string_view>> firstMatch(std::string_view text) const;

 private:
  void* _expression;
};

}  // namespace platform
