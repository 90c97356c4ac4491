#include "platform/system/Regex.h"

#include <glib.h>

namespace platform {

Regex::Regex(const std::string& pattern)
    : _expression(g_regex_new(
          pattern.c_str(),
          static_cast<GRegexCompileFlags>(G_REGEX_RAW | G_REGEX_CASELESS | G_REGEX_OPTIMIZE),
          static_cast<GRegexMatchFlags>(0), nullptr)) {}

Regex::~Regex() {
  g_regex_unref(static_cast<GRegex*>(_expression));
}

std::optional<std::vector<std::string_view>> Regex::firstMatch(std::string_view text) const {
  if (!text.data()) text = "";  // GLib takes no null for an empty text
  GMatchInfo* match = nullptr;
  std::optional<std::vector<std::string_view>> groups;
  if (g_regex_match_full(static_cast<const GRegex*>(_expression), text.data(),
                         static_cast<gssize>(text.size()), 0, static_cast<GRegexMatchFlags>(0),
                         &match, nullptr)) {
    groups.emplace();
    for (int group = 1; group < g_match_info_get_match_count(match); ++group) {
      int begin = 0, end = 0;
      g_match_info_fetch_pos(match, group, &begin, &end);
      if (begin < 0) begin = end = 0;  // the group took no part in the match
      groups->push_back(
          text.substr(static_cast<std::size_t>(begin), static_cast<std::size_t>(end - begin)));
    }
  }
  g_match_info_free(match);
  return groups;
}

}  // namespace platform
