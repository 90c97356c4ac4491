// What a program could try that a stranger's composition has taken over. It is started contained,
// with its way to speak as descriptor 3, and says of each thing whether it was refused.
//   stranger HOST SECRET FOLDER OWN-FOLDER ADDRESS-IN-THE-HOST     tries each thing
//   stranger                                                       waits for ever
#include <dirent.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sched.h>
#include <signal.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

#include "runtime/containment/FileRules.h"
#include "runtime/containment/NoMoreFilesOrPrograms.h"

namespace {

constexpr int speech = 3;
constexpr std::size_t hundredGigabytes = 100ull << 30;

void say(const std::string& what, bool done) {
  dprintf(speech, "%s: %s\n", what.c_str(), done ? "done" : "refused");
}

/// Of calls that answer with -1.
bool did(long result) {
  return result != -1;
}

bool opens(const std::string& path, int how) {
  return did(open(path.c_str(), how | O_CLOEXEC | O_NONBLOCK, 0600));
}

void files(const std::string& secret, const std::string& folder) {
  const std::string home = secret.substr(0, secret.rfind('/')), known = folder + "/below/known";
  say("read a secret", opens(secret, O_RDONLY));
  say("list the home folder", opendir(home.c_str()) != nullptr);
  say("read the users' passwords", opens("/etc/shadow", O_RDONLY));
  say("read the users", opens("/etc/passwd", O_RDONLY));
  for (const std::string& place : {home, folder, std::string("/tmp"), std::string("/dev/shm"),
                                   std::string("/var/tmp"), std::string(".")})
    say("write in " + place, opens(place + "/planted", O_WRONLY | O_CREAT));
  say("write what it may read", opens(known, O_WRONLY));
  say("cut it off", did(truncate(known.c_str(), 0)));
  say("change its rights", did(chmod(known.c_str(), 0777)));
  say("link to it", did(link(known.c_str(), (known + "2").c_str())));
  say("rename it", did(rename(known.c_str(), (known + "3").c_str())));
  say("remove it", did(unlink((known + "2").c_str())) || did(unlink(known.c_str())));
  say("make a link", did(symlink("/etc", (folder + "/etc").c_str())));
  say("make a folder", did(mkdir((folder + "/new").c_str(), 0700)));
  say("make a pipe with a name", did(mkfifo((folder + "/fifo").c_str(), 0600)));
  say("write into a pipe with a name", opens(folder + "/pipe", O_WRONLY));
  say("offer itself less to the kernel", opens("/proc/self/oom_score_adj", O_WRONLY));
}

void network(const std::string& folder) {
  sockaddr_un address{AF_UNIX, {}};
  std::snprintf(address.sun_path, sizeof address.sun_path, "%s/socket", folder.c_str());
  const auto* named = reinterpret_cast<const sockaddr*>(&address);
  say("make an internet socket", did(socket(AF_INET, SOCK_STREAM, 0)));
  say("make a packet socket", did(socket(AF_INET, SOCK_DGRAM, 0)));
  say("make a local socket", did(socket(AF_UNIX, SOCK_STREAM, 0)));
  say("name its socket", did(bind(speech, named, sizeof address)));
}

void otherProcesses(pid_t host, void* address) {
  char byte = 0;
  const iovec here{&byte, 1}, there{address, 1};
  const std::string folder = "/proc/" + std::to_string(host);
  say("trace the host", did(ptrace(PTRACE_SEIZE, host, nullptr, nullptr)));
  say("read the host's memory", did(process_vm_readv(host, &here, 1, &there, 1, 0)));
  say("write the host's memory", did(process_vm_writev(host, &here, 1, &there, 1, 0)));
  say("open the host's memory", opens(folder + "/mem", O_RDWR));
  say("read the host's environment", opens(folder + "/environ", O_RDONLY));
  say("watch the host", did(syscall(SYS_pidfd_open, host, 0)));
  say("signal the host", did(kill(host, 0)));
  say("signal a thread of the host", did(syscall(SYS_tgkill, host, host, 0)));
  say("signal everybody", did(kill(-1, 0)));
  say("have the host signalled", did(fcntl(speech, F_SETOWN, host)));
  say("have it signalled otherwise", did(ioctl(speech, FIOSETOWN, &host)));
  rlimit limit{};
  say("read the host's limits", did(prlimit(host, RLIMIT_NOFILE, nullptr, &limit)));
  cpu_set_t processors{};
  CPU_SET(0, &processors);
  say("move the host", did(sched_setaffinity(host, sizeof processors, &processors)));
}

bool endIfChild(long process) {
  if (process == 0) _exit(0);
  return did(process);
}

void processes() {
  say("fork", endIfChild(fork()));
  say("fork otherwise",
      endIfChild(syscall(SYS_clone, SIGCHLD, nullptr, nullptr, nullptr, nullptr)));
  std::uint64_t settings[11] = {};
  say("fork a third way", endIfChild(syscall(SYS_clone3, settings, sizeof settings)));
  say("leave its namespaces", did(unshare(CLONE_NEWUSER)));
  say("outlive its host", did(prctl(PR_SET_PDEATHSIG, 0)));
  say("become another user", did(setresuid(getuid(), getuid(), getuid())));
}

void memory() {
#ifndef VUO_SANITIZED  // there no such limit is set, nor can it be
  const int data = PROT_READ | PROT_WRITE;
  const auto maps = [&](int how) {
    return mmap(nullptr, hundredGigabytes, data, how | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0) !=
           MAP_FAILED;
  };
  say("have 100 GB", maps(MAP_PRIVATE));
  say("have 100 GB to share", maps(MAP_SHARED));
#endif
  signal(SIGXFSZ, SIG_IGN);
  say("have a file of 100 GB", did(ftruncate(memfd_create("large", 0), hundredGigabytes)));
#ifndef VUO_SANITIZED
  const rlimit none{RLIM_INFINITY, RLIM_INFINITY};
  say("change its limits", did(setrlimit(RLIMIT_DATA, &none)));
#endif
}

void whatIsAllowed(const std::string& folder, const std::string& own) {
  say("read below its folder", opens(folder + "/below/known", O_RDONLY));
  say("list its folder", opendir(folder.c_str()) != nullptr);
  say("write in its own folder", opens(own + "/made", O_WRONLY | O_CREAT));
  bool ran = false;
  std::thread([&] { ran = true; }).join();
  say("have threads", ran);
}

/// Once it has renounced them, also of a thread that it has had before.
void filesAndPrograms(const std::string& folder, const std::string& own) {
  char* arguments[] = {const_cast<char*>("true"), nullptr};
  char* nothing[] = {nullptr};
  const int program = memfd_create("program", 0);
  const int original = open("/proc/self/exe", O_RDONLY);
  struct stat status {};
  fstat(original, &status);
  for (char bytes[4096]; ssize_t count = read(original, bytes, sizeof bytes);)
    if (count < 0 || write(program, bytes, static_cast<std::size_t>(count)) < 0) break;
  execve("/bin/true", arguments, nothing);
  say("start a program", false);

  int ready[2];
  if (pipe(ready) != 0) return;
  std::thread before([&] {
    char byte;
    if (read(ready[0], &byte, 1) < 0) return;
    const std::string copy = "/proc/self/fd/" + std::to_string(program);
    execve(copy.c_str(), nothing, nothing);
    say("start a program in memory", false);
    syscall(SYS_execveat, program, "", nothing, nothing, AT_EMPTY_PATH);
    say("start it otherwise", false);
    say("make another file in its own folder", opens(own + "/other", O_WRONLY | O_CREAT));
    say("make one without a name", opens(own, O_WRONLY | O_TMPFILE));
    say("make another folder there", did(mkdir((own + "/folder").c_str(), 0700)));
    say("write the file that it has made", opens(own + "/made", O_WRONLY));
    say("fork once more", endIfChild(fork()));
    vuo::readNothingBut({folder + "/below"});
    say("read what it has renounced", opens(own + "/made", O_RDONLY));
    say("write what it has renounced", opens(own + "/made", O_WRONLY));
    say("read what it has kept", opens(folder + "/below/known", O_RDONLY));
  });
  vuo::noMoreFilesOrPrograms();
  if (write(ready[1], "", 1) < 0) return;
  before.join();
}

}  // namespace

int main(int count, char** arguments) {
  if (count < 6)
    for (;;) pause();
  const std::string folder = arguments[3], own = arguments[4];
  for (int standard = 0; standard < 3; ++standard) {
    char target[64] = {};
    const std::string link = "/proc/self/fd/" + std::to_string(standard);
    if (readlink(link.c_str(), target, sizeof target - 1) < 0) continue;
    say("speak on descriptor " + std::to_string(standard), std::strcmp(target, "/dev/null") != 0);
  }
  say("find another descriptor", did(fcntl(speech + 1, F_GETFD)));
  say("learn where the host is at home", std::getenv("HOME") != nullptr);
  files(arguments[2], folder);
  network(folder);
  otherProcesses(std::atoi(arguments[1]),
                 reinterpret_cast<void*>(std::strtoull(arguments[5], nullptr, 10)));
  processes();
  memory();
  whatIsAllowed(folder, own);
  filesAndPrograms(folder, own);
  _exit(0);  // what looks for leaks at the end needs a process
}
