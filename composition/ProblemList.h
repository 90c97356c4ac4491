#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Brannow/ZQVuoCompositionProblem.h"

/// The problems of one file, in the order of its lines. Keeps the first thousand, so that a file of
/// nothing else takes no more memory than its text.
class ProblemList {
 public:
  /// What is added from now on lies on this line.
  void setLine(std::size_t line) { _line = line; }
  void add(ZQVuoProblemKind kind, std::string text);
  void addNotUtf8(std::size_t line, std::size_t byteOffset);

  std::vector<ZQVuoCompositionProblem> release() { return std::move(_problems); }

 private:
  std::size_t _line = 0;
  std::vector<ZQVuoCompositionProblem> _problems;
};

/// A name or value of the file between quotes, its end left out where it is long.
std::string inQuotes(std::string_view text);
