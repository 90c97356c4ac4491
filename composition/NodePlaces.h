#pragma once

#include <cstddef>
#include <string_view>

#include "composition/ProblemList.h"

/// Tells which published nodes are not read, although the compiler understands them, because of
/// where they stand: behind white space, or on several lines.
class NodePlaces {
 public:
  NodePlaces(std::string_view text, ProblemList& problems) : _text(text), _problems(problems) {}

  /// Tells of the node that this line of the text declares, if any. False when something is wrong
  /// with it. Lines are asked for in their order.
  bool areRightOn(std::string_view line);

 private:
  bool tell(std::string_view line);
  bool isHidden(std::size_t place);

  std::string_view _text;
  ProblemList& _problems;
  // The first comment or quoted text that does not end before the last place that was asked for.
  std::size_t _hiddenBegin = 0;
  std::size_t _hiddenEnd = 0;
};
