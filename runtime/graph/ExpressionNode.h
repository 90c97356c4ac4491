#pragma once

#include <memory>

#include "runtime/graph/NodeWork.h"

namespace vuo {

/// Computes a number from numbers.
class ExpressionNode : public NodeWork {
 public:
  explicit ExpressionNode(const Node& node);
  ~ExpressionNode() override;
  Value run(const std::vector<Value>& inputs) override;

 private:
  struct Formula;
  const std::unique_ptr<Formula> _formula;
};

}  // namespace vuo
