// What is wrong with a composition, and where: for editors, for people who write compositions, and
// for checks of many files.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "Brannow/BrannowExport.h"

namespace brannow {

struct CompositionFault {
  /// The composition, as its path was given, or a file that it names.
  std::string file;
  /// Counted from 1; the column in characters. 0 where the file as a whole is meant, or its line.
  std::size_t line = 0, column = 0;
  /// It runs all the same, but not as its author will expect.
  bool isWarning = false;
  /// For people: what is wrong and, where that can be said, what to do. UTF-8 that may quote the
  /// author's text, control characters included.
  std::string what;
};

/// "FILE:LINE:COLUMN: what", as compilers do, with "warning: " in front of a warning's text.
BRANNOW_API std::string descriptionOf(const CompositionFault& fault);

/// Compiles the composition without keeping anything, and tells all that is wrong with it and its
/// files, the composition's own faults first, each file's in the order of its lines; at most about
/// a hundred errors, and the warnings. None where nothing is. What the author wrote is read in a
/// process of its own, within VuoCompiler's limits. Blocks for up to 20 s. Any thread.
BRANNOW_API std::vector<CompositionFault> checkComposition(const std::string& path);

}  // namespace brannow
