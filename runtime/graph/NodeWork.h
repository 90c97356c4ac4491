#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "runtime/Value.h"

namespace vuo {

class Canvas;

/// What one node of the graph does. Made, run and destroyed on the composition's thread, with its
/// GL context current.
class NodeWork {
 public:
  virtual ~NodeWork() = default;
  /// The output's value for the inputs, which stand in the order of the node's input ports and have
  /// their types. Throws std::runtime_error when the node can't do its work.
  virtual Value run(const std::vector<Value>& inputs) = 0;
};

/// Throws std::runtime_error when the node can't work at all. Relative file names start from
/// `folder`. The canvas outlives the result, which calls `warn` as it runs.
std::unique_ptr<NodeWork> makeNodeWork(const Node& node, const std::string& folder, Canvas& canvas,
                                       std::function<void(const std::string&)> warn);

}  // namespace vuo
