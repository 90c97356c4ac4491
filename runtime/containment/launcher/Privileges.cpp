#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "runtime/containment/KernelSupport.h"
#include "runtime/containment/launcher/Order.h"

namespace vuo {

void giveUpPrivileges() {
  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) failed("No new privileges");
  prctl(PR_CAP_AMBIENT, PR_CAP_AMBIENT_CLEAR_ALL, 0, 0, 0);
  // The folder of a superuser's composition may be another user's. Nothing else can be read.
  const unsigned kept = landlock::version() > 0 ? 1u << CAP_DAC_READ_SEARCH : 0;
  // Those who lack the privilege to do this have none to be dropped.
  for (unsigned long privilege = 0; privilege <= CAP_LAST_CAP; ++privilege)
    if (privilege != CAP_DAC_READ_SEARCH || !kept) prctl(PR_CAPBSET_DROP, privilege, 0, 0, 0);

  __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct now[2]{};
  if (syscall(SYS_capget, &header, now) != 0) failed("The privileges");
  const __user_cap_data_struct left[2]{{now[0].effective & kept, now[0].permitted & kept, 0}, {}};
  if (syscall(SYS_capset, &header, left) != 0) failed("Giving up privileges");
}

}  // namespace vuo
