// A composition file as it stands in its DOT text: nothing resolved, nothing checked but the
// syntax.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "runtime/compiler/DotOutline.h"

namespace vuo {

struct NodeStatement {
  std::string name;
  std::map<std::string, std::string> attributes;  ///< those that are not empty
  DotOutline::Node places;                        ///< where nothing declares it, of its mention

  /// The attribute's value, empty when it has none.
  std::string attribute(const std::string& key) const;
  /// The places of the attribute's name and value; else the node's.
  DotOutline::Attribute placesOf(const std::string& key) const;
};

struct CableStatement {
  std::string fromNode, fromPort, toNode, toPort;
  std::string event;  ///< the "event" attribute as it was written
  Place place;
};

struct ParsedFile {
  std::vector<NodeStatement> nodes;  ///< in the order of their first mention
  std::vector<CableStatement> cables;
};

/// Reads the text of a composition file. Throws std::runtime_error, a FaultAt where the place is
/// known. One call at a time, because the parser underneath has one state per process.
ParsedFile parsedFile(const std::string& text);

}  // namespace vuo
