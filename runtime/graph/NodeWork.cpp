#include "runtime/graph/NodeWork.h"

#include <stdexcept>

#include "runtime/graph/ExpressionNode.h"
#include "runtime/graph/ImageFileNode.h"
#include "runtime/graph/ShaderNode.h"

namespace vuo {

std::unique_ptr<NodeWork> makeNodeWork(const Node& node, const std::string& folder,
                                       Canvas& canvas) {
  if (node.outputs.size() != 1) throw std::runtime_error("every node has one output");
  switch (node.kind) {
    case NodeKind::Shader:
      return std::make_unique<ShaderNode>(node, canvas);
    case NodeKind::ImageFile:
      return std::make_unique<ImageFileNode>(folder, node.body, canvas);
    case NodeKind::Expression:
      return std::make_unique<ExpressionNode>(node);
  }
  throw std::runtime_error("no such kind of node");
}

}  // namespace vuo
