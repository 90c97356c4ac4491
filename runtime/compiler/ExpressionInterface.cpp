#include "runtime/compiler/ExpressionInterface.h"

#include <cctype>
#include <stdexcept>

#include "runtime/ExpressionParser.h"
#include "runtime/compiler/Faults.h"
#include "runtime/compiler/Word.h"

namespace vuo {
namespace {

/// The parser takes a name in front of a bracket for a variable, and the bracket for a mistake.
void checkFunctions(const mu::Parser& parser, const std::string& expression) {
  std::vector<std::string> names;
  for (const auto& [name, function] : parser.GetFunDef()) names.push_back(name);
  for (std::size_t begin = 0; begin < expression.size(); ++begin) {
    std::size_t end = begin;
    while (end < expression.size() && isWord(expression[end])) ++end;
    if (end == begin) continue;
    const std::string word = expression.substr(begin, end - begin);
    const std::size_t next = expression.find_first_not_of(" \t", end);
    begin = end;
    if (next == expression.npos || expression[next] != '(') continue;
    if (std::isdigit(static_cast<unsigned char>(word[0])) || parser.GetFunDef().contains(word))
      continue;
    throw std::runtime_error("there is no function \"" + word + "\"" + didYouMean(word, names));
  }
}

}  // namespace

std::vector<std::string> variablesOfExpression(const std::string& expression) {
  try {
    ExpressionParser parser;
    checkFunctions(parser, expression);
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
