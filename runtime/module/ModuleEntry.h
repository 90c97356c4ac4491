// What the module, which runs compositions inside a host, offers to the runner that loads it.
#pragma once

#include "runtime/graph/Instance.h"

namespace vuo {

/// The name of the module's one entry. It changes with the interfaces that cross it, so that a
/// runner never calls into a module of another make.
constexpr const char* moduleEntryName = "vuoMakeInstance4";

/// Makes a composition, not yet started, that the caller destroys.
using ModuleEntry = Instance* (*)(const Plan& plan, const std::string& folder,
                                  InstanceListener& listener);

}  // namespace vuo
