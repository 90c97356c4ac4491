// How well this system holds what a composition's process may do.
#pragma once

#include <string>
#include <vector>

/// What the kernel lacks to contain such a process wholly, each as a sentence for people; empty
/// where it has everything. Compositions run nevertheless. Any thread; asks the kernel each time.
std::vector<std::string> VuoContainment_missing();
