// What an arithmetic expression asks for.
#pragma once

#include <string>
#include <vector>

namespace vuo {

/// Checks an expression and gives the names of its variables. Throws std::runtime_error with the
/// fault and its position.
std::vector<std::string> variablesOfExpression(const std::string& expression);

}  // namespace vuo
