#include "Brannow/VuoContainment.h"

#include "runtime/containment/KernelSupport.h"

std::vector<std::string> VuoContainment_missing() {
  std::vector<std::string> missing;
  if (!vuo::hasSystemCallFilters())
    missing.push_back(
        "The kernel has no seccomp filters: the processes of compositions may reach the network, "
        "start programs and send signals");
  if (vuo::landlock::version() == 0)
    missing.push_back(
        "The kernel has no Landlock, or it is switched off: the processes of compositions may read "
        "and write the user's files, and the memory of the user's other processes");
  return missing;
}
