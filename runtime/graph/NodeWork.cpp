#include "runtime/graph/NodeWork.h"

#include <stdexcept>

#include "runtime/graph/ExpressionNode.h"
#include "runtime/graph/ImageFileNode.h"
#include "runtime/graph/ShaderNode.h"
#include "runtime/graph/TextNode.h"

namespace vuo {

std::unique_ptr<NodeWork> makeNodeWork(const Node& node, const std::string& folder, Canvas& canvas,
                                       std::function<void(const std::string&)> warn) {
  if (node.outputs.size() != 1) throw std::runtime_error("every node has one output");
  switch (node.kind) {
    case NodeKind::Shader:
      return std::make_unique<ShaderNode>(node, canvas);
    case NodeKind::ImageFile:
      return std::make_unique<ImageFileNode>(folder, node.body, canvas);
    case NodeKind::Expression:
      return std::make_unique<ExpressionNode>(node);
    case NodeKind::Text:
      return std::make_unique<TextNode>(node, canvas, std::move(warn));
  }
  throw std::runtime_error("no such kind of node");
}

}  // namespace vuo
