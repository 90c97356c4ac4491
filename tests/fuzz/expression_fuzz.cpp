// The expression of a node.
#include <cstdint>
#include <stdexcept>

#include "runtime/compiler/ExpressionInterface.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  try {
    vuo::variablesOfExpression({reinterpret_cast<const char*>(bytes), size});
  } catch (const std::runtime_error&) {
  }
  return 0;
}
