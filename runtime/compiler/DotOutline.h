// A first look at a composition's text, before the DOT parser gets it: what the parser forgets (the
// line of a node, a node that is declared twice) and what it must not be given.
#pragma once

#include <string>
#include <unordered_map>

namespace vuo {

struct DotOutline {
  /// The line of each node statement that has attributes.
  std::unordered_map<std::string, int> nodeLines;
};

/// Throws std::runtime_error for a node that is declared twice, for the parts of DOT that are no
/// part of a composition (subgraphs, lists of nodes, text after the graph) and for a text whose
/// parsed form would fill the memory. Other faults of the text are left to the parser.
DotOutline outlineOf(const std::string& text);

}  // namespace vuo
