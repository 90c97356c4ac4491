// Puts the file's cables into the plan.
#pragma once

#include <string>
#include <unordered_map>
#include <vector>

#include "runtime/VuoPlan.h"
#include "runtime/compiler/ParsedFile.h"

namespace vuo {

/// Finds the ports of a plan by name. The plan's nodes and ports must stay where they are.
class Cabling {
 public:
  explicit Cabling(Plan& plan);

  /// Adds one cable. Throws std::runtime_error when an end does not exist, the types do not fit or
  /// the input has its data already.
  void connect(const CableStatement& statement);
  /// Throws std::runtime_error when that end does not exist.
  void requireSource(const CableStatement& statement) const;
  void requireTarget(const CableStatement& statement) const;

 private:
  struct End {
    std::vector<Port>* ports;
    int node;
    std::unordered_map<std::string, std::vector<int>> indices;  ///< of the ports with that name
  };
  using Ends = std::unordered_map<std::string, End>;  ///< by the node's name

  static void addEnd(Ends& ends, const std::string& nodeName, std::vector<Port>& ports, int node);
  static const std::vector<int>& find(const Ends& ends, const std::string& node,
                                      const std::string& port, const char* direction);

  Ends _sources, _targets;
};

}  // namespace vuo
