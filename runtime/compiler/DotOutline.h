// A first look at a composition's text, before the DOT parser gets it: what the parser forgets (the
// places of nodes, attributes and cables) and what it must not be given.
#pragma once

#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "runtime/compiler/Faults.h"

namespace vuo {

struct DotOutline {
  struct Attribute {
    Place name, value;
  };
  struct Node {
    Place place;
    std::map<std::string, Attribute> attributes;
  };
  std::unordered_map<std::string, Node> nodes;      ///< those that are declared
  std::unordered_map<std::string, Place> mentions;  ///< where a cable first names a node
  std::vector<Place> cables;                        ///< in their order
};

/// Throws FaultAt for a node that is declared twice, for the parts of DOT that are no part of a
/// composition (subgraphs, lists of nodes, text after the graph), for what never ends and for a
/// text whose parsed form would fill the memory. Other faults of the text are left to the parser.
DotOutline outlineOf(const std::string& text);

}  // namespace vuo
