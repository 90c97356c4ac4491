#include <errno.h>
#include <fcntl.h>
#include <sched.h>
#include <seccomp.h>
#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <memory>
#include <stdexcept>

#include "runtime/containment/KernelSupport.h"
#include "runtime/containment/launcher/Order.h"

namespace vuo {
namespace {

#ifdef VUO_SANITIZED
constexpr bool isSanitized = true;  // it lowers its limits itself
#else
constexpr bool isSanitized = false;
#endif

/// What the C library, drivers and our own programs use; whatever it is that they work on they must
/// have got otherwise. Not among them: sockets other than those that are there, other processes,
/// other users, names and rights of files.
constexpr int allowed[] = {
    // memory
    SCMP_SYS(brk),
    SCMP_SYS(mmap),
    SCMP_SYS(mmap2),
    SCMP_SYS(munmap),
    SCMP_SYS(mremap),
    SCMP_SYS(mprotect),
    SCMP_SYS(madvise),
    SCMP_SYS(mincore),
    SCMP_SYS(msync),
    SCMP_SYS(mlock),
    SCMP_SYS(mlock2),
    SCMP_SYS(munlock),
    SCMP_SYS(memfd_create),
    SCMP_SYS(membarrier),
    // files
    SCMP_SYS(open),
    SCMP_SYS(openat),
    SCMP_SYS(close),
    SCMP_SYS(close_range),
    SCMP_SYS(read),
    SCMP_SYS(readv),
    SCMP_SYS(pread64),
    SCMP_SYS(preadv),
    SCMP_SYS(write),
    SCMP_SYS(writev),
    SCMP_SYS(pwrite64),
    SCMP_SYS(pwritev),
    SCMP_SYS(lseek),
    SCMP_SYS(_llseek),
    SCMP_SYS(stat),
    SCMP_SYS(lstat),
    SCMP_SYS(fstat),
    SCMP_SYS(newfstatat),
    SCMP_SYS(statx),
    SCMP_SYS(statfs),
    SCMP_SYS(fstatfs),
    SCMP_SYS(access),
    SCMP_SYS(faccessat),
    SCMP_SYS(faccessat2),
    SCMP_SYS(readlink),
    SCMP_SYS(readlinkat),
    SCMP_SYS(getdents64),
    SCMP_SYS(getcwd),
    SCMP_SYS(ftruncate),
    SCMP_SYS(fallocate),
    SCMP_SYS(fadvise64),
    SCMP_SYS(fsync),
    SCMP_SYS(fdatasync),
    SCMP_SYS(flock),
    SCMP_SYS(dup),
    SCMP_SYS(dup2),
    SCMP_SYS(dup3),
    SCMP_SYS(mkdir),
    SCMP_SYS(mkdirat),
    // waiting
    SCMP_SYS(futex),
    SCMP_SYS(futex_time64),
    SCMP_SYS(poll),
    SCMP_SYS(ppoll),
    SCMP_SYS(select),
    SCMP_SYS(pselect6),
    SCMP_SYS(pause),
    SCMP_SYS(epoll_create1),
    SCMP_SYS(epoll_ctl),
    SCMP_SYS(epoll_wait),
    SCMP_SYS(epoll_pwait),
    SCMP_SYS(eventfd2),
    SCMP_SYS(pipe),
    SCMP_SYS(pipe2),
    SCMP_SYS(nanosleep),
    SCMP_SYS(clock_nanosleep),
    SCMP_SYS(sched_yield),
    // messages on the sockets that are there
    SCMP_SYS(sendmsg),
    SCMP_SYS(sendto),
    SCMP_SYS(recvmsg),
    SCMP_SYS(recvfrom),
    SCMP_SYS(shutdown),
    // time and what the machine is
    SCMP_SYS(clock_gettime),
    SCMP_SYS(clock_getres),
    SCMP_SYS(gettimeofday),
    SCMP_SYS(time),
    SCMP_SYS(times),
    SCMP_SYS(uname),
    SCMP_SYS(sysinfo),
    SCMP_SYS(getcpu),
    SCMP_SYS(sched_getaffinity),
    SCMP_SYS(sched_getparam),
    SCMP_SYS(sched_getscheduler),
    SCMP_SYS(sched_get_priority_max),
    SCMP_SYS(sched_get_priority_min),
    SCMP_SYS(getrandom),
    // this process
    SCMP_SYS(getpid),
    SCMP_SYS(gettid),
    SCMP_SYS(getppid),
    SCMP_SYS(getuid),
    SCMP_SYS(geteuid),
    SCMP_SYS(getgid),
    SCMP_SYS(getegid),
    SCMP_SYS(getresuid),
    SCMP_SYS(getresgid),
    SCMP_SYS(getpgrp),
    SCMP_SYS(getrlimit),
    SCMP_SYS(getrusage),
    SCMP_SYS(arch_prctl),
    SCMP_SYS(set_tid_address),
    SCMP_SYS(set_robust_list),
    SCMP_SYS(rseq),
    SCMP_SYS(sigaltstack),
    SCMP_SYS(rt_sigaction),
    SCMP_SYS(rt_sigprocmask),
    SCMP_SYS(rt_sigreturn),
    SCMP_SYS(rt_sigpending),
    SCMP_SYS(rt_sigtimedwait),
    SCMP_SYS(rt_sigsuspend),
    SCMP_SYS(restart_syscall),
    SCMP_SYS(exit),
    SCMP_SYS(exit_group),
    // further restrictions of files
    SCMP_SYS(landlock_create_ruleset),
    SCMP_SYS(landlock_add_rule),
    SCMP_SYS(landlock_restrict_self),
    // becoming the program; it renounces this itself
    SCMP_SYS(execve),
#ifdef VUO_SANITIZED
    SCMP_SYS(personality),
#endif
};

/// An open file may otherwise be told to send any signal to any process of the user.
constexpr int fileCommands[] = {F_DUPFD,     F_DUPFD_CLOEXEC, F_GETFD, F_SETFD, F_GETFL, F_SETFL,
                                F_ADD_SEALS, F_GET_SEALS,     F_GETLK, F_SETLK, F_SETLKW};

constexpr int processCommands[] = {PR_SET_NAME, PR_GET_NAME, PR_SET_VMA, PR_GET_DUMPABLE,
                                   PR_GET_TIMERSLACK};

/// What drivers tell their devices, by the second byte of the command: DRM, NVIDIA, NVIDIA's
/// unified memory, buffers and fences that processes share.
constexpr int deviceCommands[] = {'d', 'F', 0, 'b', '>'};

class Filter {
 public:
  /// What is not allowed is not there: libraries that try the newer call first take the older one.
  Filter() : _context(seccomp_init(SCMP_ACT_ERRNO(ENOSYS)), seccomp_release) {
    if (!_context) throw std::runtime_error("There is no memory for a filter");
    // As fast as before: nothing in here is secret from the program itself.
    seccomp_attr_set(_context.get(), SCMP_FLTATR_CTL_SSB, 1);
  }
  template <typename... Conditions>
  void allow(int call, Conditions... conditions) {
    add(SCMP_ACT_ALLOW, call, conditions...);
  }
  void load() {
    if (const int error = -seccomp_load(_context.get()); error != 0) fail(error);
  }

 private:
  template <typename... Conditions>
  void add(std::uint32_t action, int call, Conditions... conditions) {
    if (const int error =
            -seccomp_rule_add(_context.get(), action, call, sizeof...(conditions), conditions...))
      fail(error);
  }
  [[noreturn]] static void fail(int error) {
    errno = error;
    failed("The filter of system calls");
  }
  std::unique_ptr<void, decltype(&seccomp_release)> _context;
};

scmp_arg_cmp is(unsigned argument, std::uint64_t value) {
  return {argument, SCMP_CMP_EQ, value, 0};
}

scmp_arg_cmp isMasked(unsigned argument, std::uint64_t mask, std::uint64_t value) {
  return {argument, SCMP_CMP_MASKED_EQ, mask, value};
}

/// Copies of this process are waited for, end with it and lower their limits; in namespaces of
/// their own they would have more rights.
void allowCopies(Filter& filter) {
  constexpr std::uint64_t otherwise = CLONE_NEWNS | CLONE_NEWCGROUP | CLONE_NEWUTS | CLONE_NEWIPC |
                                      CLONE_NEWUSER | CLONE_NEWPID | CLONE_NEWNET | CLONE_PARENT;
  filter.allow(SCMP_SYS(clone), isMasked(0, otherwise | CLONE_THREAD, 0));
  for (const int call : {SCMP_SYS(wait4), SCMP_SYS(waitid), SCMP_SYS(pidfd_open)})
    filter.allow(call);
  filter.allow(SCMP_SYS(prctl), is(0, PR_SET_PDEATHSIG), is(1, SIGKILL));
}

}  // namespace

void restrictSystemCalls(const Order& order) {
  if (!hasSystemCallFilters()) return;  // the host has said so
  Filter filter;
  for (const int call : allowed) filter.allow(call);
  for (const int command : fileCommands)
    for (const int call : {SCMP_SYS(fcntl), SCMP_SYS(fcntl64)})
      filter.allow(call, is(1, static_cast<std::uint64_t>(command)));
  for (const int command : processCommands)
    filter.allow(SCMP_SYS(prctl), is(0, static_cast<std::uint64_t>(command)));
  for (const int command : deviceCommands)
    filter.allow(SCMP_SYS(ioctl), isMasked(1, 0xff00, static_cast<std::uint64_t>(command) << 8));
  if (order.copies) allowCopies(filter);
  // What this is told can't be looked at either, and where files can be made it could make more.
  if (order.ownFolder.empty()) filter.allow(SCMP_SYS(openat2));
  // Threads, but no other processes. What clone3 is told can't be looked at, so there is none.
  filter.allow(SCMP_SYS(clone), isMasked(0, CLONE_THREAD, CLONE_THREAD));
  // Signals to itself alone, such as abort's; a copy has none but the kernel's.
  filter.allow(SCMP_SYS(tgkill), is(0, static_cast<std::uint64_t>(getpid())));
  // Limits are read, not set unless by copies, and not those of others.
  if (order.copies || isSanitized)
    filter.allow(SCMP_SYS(prlimit64), is(0, 0));
  else
    filter.allow(SCMP_SYS(prlimit64), is(0, 0), is(2, 0));
  // Further filters, without anybody who listens.
  filter.allow(SCMP_SYS(seccomp), is(0, 1), isMasked(1, ~std::uint64_t{1}, 0));
  filter.load();
}

}  // namespace vuo
