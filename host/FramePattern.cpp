#include "host/FramePattern.h"

#include <regex>

namespace {

std::string padded(int index, std::size_t digits) {
  std::string number = std::to_string(index);
  if (number.size() < digits) number.insert(0, digits - number.size(), '0');
  return number;
}

const std::regex& numberPlace() {
  static const std::regex place("%(0([0-9]))?d");
  return place;
}

}  // namespace

bool hasFrameNumber(const std::string& pattern) {
  return std::regex_search(pattern, numberPlace());
}

std::string frameFile(const std::string& pattern, int index, int count) {
  std::smatch match;
  if (std::regex_search(pattern, match, numberPlace())) {
    const std::size_t digits = match[2].matched ? std::stoul(match[2]) : 1;
    return match.prefix().str() + padded(index, digits) + match.suffix().str();
  }
  if (count == 1) return pattern;
  const auto slash = pattern.find_last_of('/');
  const auto dot = pattern.find_last_of('.');
  const bool hasExtension = dot != std::string::npos && (slash == std::string::npos || dot > slash);
  const auto end = hasExtension ? dot : pattern.size();
  return pattern.substr(0, end) + "-" + padded(index, 4) + pattern.substr(end);
}
