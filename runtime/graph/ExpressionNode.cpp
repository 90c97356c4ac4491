#include "runtime/graph/ExpressionNode.h"

#include <stdexcept>

#include "runtime/ExpressionParser.h"

namespace vuo {
namespace {

/// The library's own exception stays in here: this code may be unloaded before its catcher.
template <typename Step>
auto guarded(Step step) {
  try {
    return step();
  } catch (const mu::ParserError& fault) {
    throw std::runtime_error("in the expression: " + fault.GetMsg());
  }
}

}  // namespace

struct ExpressionNode::Formula {
  ExpressionParser parser;
  std::vector<double> variables;
};

ExpressionNode::ExpressionNode(const Node& node) : _formula(new Formula) {
  _formula->variables.resize(node.inputs.size());
  guarded([&] {
    for (std::size_t i = 0; i < node.inputs.size(); ++i)
      _formula->parser.DefineVar(node.inputs[i].name, &_formula->variables[i]);
    _formula->parser.SetExpr(node.body);
  });
}

ExpressionNode::~ExpressionNode() = default;

Value ExpressionNode::run(const std::vector<Value>& inputs) {
  for (std::size_t i = 0; i < inputs.size(); ++i)
    _formula->variables[i] = std::get<double>(converted(inputs[i], Type::Real));
  return guarded([&] { return _formula->parser.Eval(); });
}

}  // namespace vuo
