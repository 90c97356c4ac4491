// The order in which the nodes of a plan run.
#pragma once

#include "runtime/VuoPlan.h"

namespace vuo {

/// Puts every node behind the nodes that it depends on; nodes that do not depend on each other keep
/// their order. Cables follow their nodes. Throws std::runtime_error that names the nodes of a
/// cycle.
void orderNodes(Plan& plan);

}  // namespace vuo
