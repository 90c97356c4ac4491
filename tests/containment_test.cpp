// What a program may do that the runtime has started contained.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

extern "C" {
#include <sys/pidfd.h>
}

#include "TestSupport.h"
#include "platform/system/FileDescriptor.h"
#include "runtime/containment/ContainedProgram.h"
#include "runtime/containment/ShaderFolder.h"

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

/// What it does without being told to: nothing, until it is ended.
vuo::ContainedProgram stranger() {
  vuo::ContainedProgram program;
  program.program = STRANGER;
  return program;
}

/// What a process says on a socket until it has ended. The thread that starts it ends at once.
std::string saidBy(vuo::ContainedProgram program) {
  int ends[2];
  socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends);
  const platform::FileDescriptor ours(ends[0]);
  pid_t process = 0;
  {
    const platform::FileDescriptor theirs(ends[1]);
    program.descriptors = {theirs.get()};
    std::thread([&] { process = vuo::launch(program); }).join();
  }
  std::string text;
  char bytes[4096];
  for (ssize_t count; (count = read(ours.get(), bytes, sizeof bytes)) > 0;)
    text.append(bytes, static_cast<std::size_t>(count));
  int status = 0;
  waitpid(process, &status, 0);
  EXPECT_EQ(status, 0) << text;
  return text;
}

/// Some things are allowed to a program that may copy itself.
void refusesEachThing(bool copiesItself) {
  const TestFolder home, tree;
  const std::string secret = home.write("secret", "s"), folder = tree.path + "/composition";
  const std::string own = tree.path + "/own";
  fs::create_directories(folder + "/below");
  fs::create_directory(own);
  std::ofstream(folder + "/below/known") << "k";
  mkfifo((folder + "/pipe").c_str(), 0600);
  const platform::FileDescriptor otherEnd(open((folder + "/pipe").c_str(), O_RDWR | O_CLOEXEC));

  static char hostsMemory = 0;
  vuo::ContainedProgram program = stranger();
  program.arguments = {std::to_string(getpid()), secret, folder, own,
                       std::to_string(reinterpret_cast<std::uintptr_t>(&hostsMemory))};
  program.readable = {folder};
  program.ownFolder = own;
  program.copiesItself = copiesItself;
  std::istringstream said(saidBy(program));

  std::vector<std::string> allowed;
  for (std::string line; std::getline(said, line);)
    if (!line.ends_with(": refused")) allowed.push_back(line);
  std::vector<std::string> expected = {
      "read below its folder: done",           "list its folder: done",
      "write in its own folder: done",         "have threads: done",
      "write the file that it has made: done", "read what it has kept: done"};
  if (copiesItself)
    expected.insert(expected.begin(),
                    {"watch the host: done", "fork: done", "fork otherwise: done"});
#ifdef VUO_SANITIZED
  expected.insert(expected.begin(), "speak on descriptor 2: done");
#endif
  EXPECT_EQ(allowed, expected);
  EXPECT_FALSE(fs::exists(folder + "/planted") || fs::exists(own + "/other"));
}

TEST(Containment, RefusesEachThing) {
  for (const bool copiesItself : {false, true}) refusesEachThing(copiesItself);
}

/// Tells more where somebody else runs the tests than the superuser.
TEST(Containment, RefusesEachThingToAnOrdinaryUsersProgram) {
  if (geteuid() != 0) GTEST_SKIP() << "the test before is just that";
  const std::string self = fs::read_symlink("/proc/self/exe");
  const std::string asNobody = "setpriv --reuid 65534 --regid 65534 --clear-groups ";
  if (std::system((asNobody + "test -x '" + self + "'").c_str()) != 0)
    GTEST_SKIP() << "the tests' folder is closed to other users";
  EXPECT_EQ(std::system((asNobody + "'" + self + "' --gtest_filter=*.RefusesEachThing").c_str()),
            0);
}

std::string contentsOf(const fs::path& file) {
  std::ostringstream contents;
  contents << std::ifstream(file).rdbuf();
  return contents.str();
}

TEST(Containment, LimitsWhatItTakesAndOffersItToTheKernelFirst) {
  const pid_t process = vuo::launch(stranger());
  const fs::path folder = "/proc/" + std::to_string(process);
  EXPECT_EQ(contentsOf(folder / "oom_score_adj"), "1000\n");
  const std::string limits = contentsOf(folder / "limits");
  EXPECT_THAT(limits, testing::ContainsRegex("Max core file size +0 +0 "));
  EXPECT_THAT(limits, testing::ContainsRegex("Max open files +1024 +1024 "));
  const std::string status = contentsOf(folder / "status");
  EXPECT_THAT(status, HasSubstr("NoNewPrivs:\t1"));
  EXPECT_THAT(status, testing::ContainsRegex("CapPrm:\t000000000000000[04]\n"));
  kill(process, SIGKILL);
  waitpid(process, nullptr, 0);
}

TEST(Containment, SaysWhyAProgramCantBeStarted) {
  vuo::ContainedProgram program = stranger();
  for (const auto& [path, why] : {std::pair{"/no/such/file", "No such file"},
                                  std::pair{"/etc/passwd", "Permission denied"}}) {
    program.program = path;
    try {
      vuo::launch(program);
      ADD_FAILURE() << path;
    } catch (const std::runtime_error& fault) {
      EXPECT_THAT(fault.what(), testing::AllOf(HasSubstr(path), HasSubstr(why)));
    }
  }
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "no child is left";
}

/// Run by the next test, in a process of its own: starts a program that listens to nobody, and
/// tells which on standard output.
TEST(Containment, DISABLED_HostThatIsKilled) {
  vuo::ContainedProgram lives = stranger(), goesOn = stranger();
  goesOn.endsWithHost = false;
  for (const auto& program : {lives, goesOn})
    std::thread([&] { dprintf(STDERR_FILENO, "%d\n", vuo::launch(program)); }).join();
  kill(getpid(), SIGKILL);
}

TEST(Containment, EndsWithItsHostAndNotWithTheThreadThatStartedIt) {
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDERR_FILENO);
  const std::string self = std::filesystem::read_symlink("/proc/self/exe");
  const char* arguments[] = {self.c_str(), "--gtest_filter=*HostThatIsKilled",
                             "--gtest_also_run_disabled_tests", nullptr};
  pid_t host = 0;
  ASSERT_EQ(posix_spawn(&host, "/proc/self/exe", &actions, nullptr, const_cast<char**>(arguments),
                        environ),
            0);
  posix_spawn_file_actions_destroy(&actions);
  close(ends[1]);
  waitpid(host, nullptr, 0);
  FILE* told = fdopen(ends[0], "r");
  int ended = 0, goesOn = 0;
  ASSERT_EQ(std::fscanf(told, "%d %d", &ended, &goesOn), 2);
  std::fclose(told);
  if (const platform::FileDescriptor process(pidfd_open(ended, 0)); process) {
    pollfd end{process.get(), POLLIN, 0};
    EXPECT_EQ(poll(&end, 1, 10000), 1);
  }
  EXPECT_EQ(kill(goesOn, SIGKILL), 0);
}

TEST(Containment, ShadersBelongToOneArtefact) {
  const TestFolder folder;
  const std::string artefact = folder.write("artefact", "1");
  const std::string first = vuo::shaderFolderOf(artefact);
  std::ofstream(first + "/shaders") << "code";
  EXPECT_EQ(vuo::shaderFolderOf(artefact), first);
  EXPECT_TRUE(fs::exists(first + "/shaders"));

  fs::resize_file(first + "/shaders", 65 << 20);
  EXPECT_EQ(vuo::shaderFolderOf(artefact), first);
  EXPECT_TRUE(fs::is_empty(first)) << "more than a composition needs";

  fs::rename(folder.write("artefact.new", "2"), artefact);
  EXPECT_NE(vuo::shaderFolderOf(artefact), first);
  EXPECT_FALSE(fs::exists(first)) << "nobody's any more";
  EXPECT_EQ(vuo::shaderFolderOf("/proc/self/exe"), "");
  EXPECT_THAT(vuo::shaderFolderVariables(""),
              testing::ElementsAre("MESA_SHADER_CACHE_DISABLE=true"));
}

}  // namespace
