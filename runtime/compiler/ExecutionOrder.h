// The order in which the nodes of a plan run.
#pragma once

#include <stdexcept>
#include <string>
#include <utility>

#include "runtime/VuoPlan.h"

namespace vuo {

struct CycleFault : std::runtime_error {
  CycleFault(std::string first, const std::string& what)
      : runtime_error(what), node(std::move(first)) {}
  std::string node;  ///< the first one in the cycle
};

/// Puts every node behind the nodes that it depends on; nodes that do not depend on each other keep
/// their order. Cables follow their nodes. Throws CycleFault.
void orderNodes(Plan& plan);

}  // namespace vuo
