// The two nodes that stand for the outside of a composition.
#pragma once

#include <vector>

#include "runtime/VuoPlan.h"
#include "runtime/compiler/ParsedFile.h"

namespace vuo {

inline constexpr const char* publishedInputsNode = "PublishedInputs";
inline constexpr const char* publishedOutputsNode = "PublishedOutputs";

/// The ports of one of the two nodes in the order of its label, with their defaults. Quotes inside
/// values do not count, as for everybody who reads these nodes. A port that is wrong is noted and
/// left out, and the whole ends with FaultsNoted. Throws std::runtime_error.
std::vector<Port> publishedPorts(const NodeStatement& statement, Faults& faults);

}  // namespace vuo
