#include "runtime/containment/NoMoreFilesOrPrograms.h"

#include <errno.h>
#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <stddef.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <bit>
#include <vector>

namespace vuo {
namespace {

constexpr unsigned refused = SECCOMP_RET_ERRNO | EPERM;

class Filter {
 public:
  Filter() { load(offsetof(seccomp_data, nr)); }

  void refuse(long call) {
    add(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned>(call), 0, 1);
    add(BPF_RET | BPF_K, refused);
  }
  /// Refuses it where that argument has one of the bits.
  void refuse(long call, unsigned argument, unsigned bits) {
    add(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned>(call), 0, 4);
    loadArgument(argument);
    add(BPF_JMP | BPF_JSET | BPF_K, bits, 0, 1);
    add(BPF_RET | BPF_K, refused);
    add(BPF_RET | BPF_K, SECCOMP_RET_ALLOW);
  }
  /// Refuses it where that argument has none of the bits.
  void refuseWithout(long call, unsigned argument, unsigned bits) {
    add(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned>(call), 0, 4);
    loadArgument(argument);
    add(BPF_JMP | BPF_JSET | BPF_K, bits, 1, 0);
    add(BPF_RET | BPF_K, refused);
    add(BPF_RET | BPF_K, SECCOMP_RET_ALLOW);
  }
  void install() {
    add(BPF_RET | BPF_K, SECCOMP_RET_ALLOW);
    sock_fprog program{static_cast<unsigned short>(_steps.size()), _steps.data()};
    syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, SECCOMP_FILTER_FLAG_TSYNC, &program);
  }

 private:
  void load(std::size_t offset) { add(BPF_LD | BPF_W | BPF_ABS, static_cast<unsigned>(offset)); }
  /// Its lower half.
  void loadArgument(unsigned argument) {
    load(offsetof(seccomp_data, args) + argument * 8 +
         (std::endian::native == std::endian::big ? 4 : 0));
  }
  void add(int code, unsigned k, unsigned char yes = 0, unsigned char no = 0) {
    _steps.push_back({static_cast<unsigned short>(code), yes, no, k});
  }
  std::vector<sock_filter> _steps;
};

}  // namespace

void noMoreFilesOrPrograms() {
  constexpr unsigned creating = O_CREAT | (O_TMPFILE & ~O_DIRECTORY);
  Filter filter;
  filter.refuse(SYS_execve);
  filter.refuse(SYS_execveat);
  filter.refuseWithout(SYS_clone, 0, CLONE_THREAD);
  filter.refuse(SYS_mkdirat);
  filter.refuse(SYS_openat, 2, creating);
#ifdef SYS_open  // not on newer architectures
  filter.refuse(SYS_mkdir);
  filter.refuse(SYS_open, 1, creating);
#endif
  filter.install();
}

}  // namespace vuo
