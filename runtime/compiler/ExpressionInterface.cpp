#include "runtime/compiler/ExpressionInterface.h"

#include <muParser.h>

#include <stdexcept>

namespace vuo {

std::vector<std::string> variablesOfExpression(const std::string& expression) {
  try {
    mu::Parser parser;
    parser.SetExpr(expression);
    std::vector<std::string> names;
    for (const auto& [name, address] : parser.GetUsedVar()) names.push_back(name);

    // Looking for variables skips some checks; they are made when the expression is computed.
    std::vector<double> values(names.size(), 1.0);
    for (std::size_t i = 0; i < names.size(); ++i) parser.DefineVar(names[i], &values[i]);
    parser.Eval();
    if (parser.GetNumResults() != 1) throw std::runtime_error("the expression has several results");
    return names;
  } catch (const mu::ParserError& fault) {
    throw std::runtime_error("in the expression: " + fault.GetMsg());
  }
}

}  // namespace vuo
