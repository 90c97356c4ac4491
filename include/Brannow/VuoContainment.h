// How well this system holds what a composition's process may do.
#pragma once

#include <string>
#include <vector>

#include "Brannow/BrannowExport.h"

/// What the kernel lacks to contain such a process wholly, each as a sentence for people; empty
/// where it has everything. Compositions run nevertheless. Any thread; asks the kernel each time.
BRANNOW_API std::vector<std::string> VuoContainment_missing();
