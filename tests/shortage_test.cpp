// What a host does with a scene, with one call for a thread, a descriptor, memory or a process
// refused, for each call in turn. Each time in a process of its own, in which everything is used
// for the first time or has been used before. BRANNOW_SHORTAGE=1 refuses every single call.
#include <dlfcn.h>
#include <execinfo.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <link.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <atomic>
#include <cstdarg>
#include <cstring>
#include <iostream>
#include <new>
#include <string_view>

#include "Brannow/Brannow.h"
#include "EmptyCache.h"
#include "Holdings.h"
#include "TestSupport.h"
#include "platform/system/Alert.h"

namespace {

// What the framework calls. What others call is left alone: a driver may end the process when it is
// refused something, and that is not the framework's to mend.

struct Refusal {
  const char* function;
  int error;
  int stride;  // in the suite
};
constexpr Refusal kRefusals[] = {
    {"open", EMFILE, 7},           {"openat2", EMFILE, 1},       {"mmap", ENOMEM, 1},
    {"pthread_create", EAGAIN, 3}, {"posix_spawn", EAGAIN, 1},   {"pidfd_open", EMFILE, 1},
    {"socketpair", EMFILE, 2},     {"memfd_create", ENOMEM, 1},  {"write", ENOSPC, 3},
    {"pipe2", EMFILE, 1},          {"eventfd", EMFILE, 3},       {"fcntl", EMFILE, 5},
    {"mkostemp", EMFILE, 3},       {"epoll_create1", EMFILE, 1}, {"timerfd_create", EMFILE, 1},
    {"sendmsg", ENOBUFS, 9},       {"new", ENOMEM, 997},
};

const char* volatile refused = nullptr;   // the function, null while nothing is refused
std::atomic<int> callsLeft{0};            // until the one that is refused
std::atomic<bool> refusesTheRest{false};  // after that one
void* site[32];                           // where that was
std::atomic<int> siteDepth{0};

bool lies(void* address, const char* inside) {
  dl_find_object object{};
  return _dl_find_object(address, &object) == 0 && object.dlfo_link_map->l_name &&
         std::strstr(object.dlfo_link_map->l_name, inside);
}

/// The standard library calls for the one who calls it.
bool isTheFrameworks(void* caller) {
  if (!lies(caller, "libstdc++")) return lies(caller, "/Brannow.framework/");
  void* frames[24];
  const int depth = backtrace(frames, 24);
  bool isBehindCaller = false;
  for (int i = 0; i < depth; ++i) {
    isBehindCaller = isBehindCaller || frames[i] == caller;
    if (isBehindCaller && !lies(frames[i], "libstdc++"))
      return lies(frames[i], "/Brannow.framework/");
  }
  return false;
}

bool isRefused(std::string_view function, void* caller) {
  static thread_local bool isAsking = false;
  const char* const now = refused;
  if (!now || function != now || isAsking) return false;
  isAsking = true;
  const int left = isTheFrameworks(caller) ? --callsLeft : 1;
  if (left == 0) siteDepth = backtrace(site, 32);
  isAsking = false;
  return refusesTheRest ? left <= 0 : left == 0;
}

int errorOf(std::string_view function) {
  for (const auto& refusal : kRefusals)
    if (function == refusal.function) return refusal.error;
  return EIO;
}

template <class Function>
Function* original(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

// NOLINTBEGIN: these stand before the C library's own.
#define REFUSE_OR_CALL(name, ...)                           \
  static const auto call = original<decltype(name)>(#name); \
  if (isRefused(#name, __builtin_return_address(0))) {      \
    errno = errorOf(#name);                                 \
    return -1;                                              \
  }                                                         \
  return call(__VA_ARGS__)

extern "C" {

int open(const char* path, int flags, ...) {
  va_list more;
  va_start(more, flags);
  const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) ? va_arg(more, mode_t) : 0;
  va_end(more);
  REFUSE_OR_CALL(open, path, flags, mode);
}
int __open_2(const char* path, int flags);
int __open_2(const char* path, int flags) {
  static const auto call = original<decltype(__open_2)>("__open_2");
  if (isRefused("open", __builtin_return_address(0))) {
    errno = EMFILE;
    return -1;
  }
  return call(path, flags);
}
int fcntl(int descriptor, int command, ...) {
  va_list more;
  va_start(more, command);
  void* const argument = va_arg(more, void*);
  va_end(more);
  static const auto call = original<decltype(fcntl)>("fcntl");
  if (command == F_DUPFD_CLOEXEC && isRefused("fcntl", __builtin_return_address(0))) {
    errno = EMFILE;
    return -1;
  }
  return call(descriptor, command, argument);
}
long syscall(long number, ...) noexcept {
  va_list more;
  va_start(more, number);
  long a[6];
  for (long& argument : a) argument = va_arg(more, long);
  va_end(more);
  static const auto call = original<decltype(syscall)>("syscall");
  if (number == SYS_openat2 && isRefused("openat2", __builtin_return_address(0))) {
    errno = EMFILE;
    return -1;
  }
  return call(number, a[0], a[1], a[2], a[3], a[4], a[5]);
}
void* mmap(void* at, std::size_t length, int protection, int flags, int file,
           off_t offset) noexcept {
  static const auto call = original<decltype(mmap)>("mmap");
  if (isRefused("mmap", __builtin_return_address(0))) {
    errno = ENOMEM;
    return MAP_FAILED;
  }
  return call(at, length, protection, flags, file, offset);
}
int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*run)(void*),
                   void* argument) noexcept {
  static const auto call = original<decltype(pthread_create)>("pthread_create");
  if (isRefused("pthread_create", __builtin_return_address(0))) return EAGAIN;
  return call(thread, attributes, run, argument);
}
int posix_spawn(pid_t* process, const char* path, const posix_spawn_file_actions_t* actions,
                const posix_spawnattr_t* attributes, char* const* words, char* const* variables) {
  static const auto call = original<decltype(posix_spawn)>("posix_spawn");
  if (isRefused("posix_spawn", __builtin_return_address(0))) return EAGAIN;
  return call(process, path, actions, attributes, words, variables);
}
int pidfd_open(pid_t process, unsigned flags) noexcept {
  static const auto call = original<int(pid_t, unsigned)>("pidfd_open");
  if (isRefused("pidfd_open", __builtin_return_address(0))) {
    errno = EMFILE;
    return -1;
  }
  return call(process, flags);
}
int socketpair(int domain, int type, int protocol, int* ends) noexcept {
  REFUSE_OR_CALL(socketpair, domain, type, protocol, ends);
}
int memfd_create(const char* name, unsigned flags) noexcept {
  REFUSE_OR_CALL(memfd_create, name, flags);
}
int pipe2(int* ends, int flags) noexcept {
  REFUSE_OR_CALL(pipe2, ends, flags);
}
int eventfd(unsigned count, int flags) noexcept {
  REFUSE_OR_CALL(eventfd, count, flags);
}
int epoll_create1(int flags) noexcept;
int epoll_create1(int flags) noexcept {
  REFUSE_OR_CALL(epoll_create1, flags);
}
int timerfd_create(int clock, int flags) noexcept;
int timerfd_create(int clock, int flags) noexcept {
  REFUSE_OR_CALL(timerfd_create, clock, flags);
}
int mkostemp(char* name, int flags) {
  REFUSE_OR_CALL(mkostemp, name, flags);
}
ssize_t sendmsg(int socket, const msghdr* message, int flags) {
  REFUSE_OR_CALL(sendmsg, socket, message, flags);
}
/// Those to files: no other can fail for want of room.
ssize_t write(int file, const void* bytes, std::size_t count) {
  static const auto call = original<decltype(write)>("write");
  struct stat status {};
  if (refused && fstat(file, &status) == 0 && S_ISREG(status.st_mode) &&
      isRefused("write", __builtin_return_address(0))) {
    errno = ENOSPC;
    return -1;
  }
  return call(file, bytes, count);
}

}  // extern "C"

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
/// The library's own delete frees what this allocates.
void* operator new(std::size_t size) {
  if (isRefused("new", __builtin_return_address(0))) throw std::bad_alloc();
  if (void* const memory = std::malloc(size)) return memory;
  throw std::bad_alloc();
}
#endif
// NOLINTEND

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using State = VuoSceneStatus::State;

/// What the system itself ends long before; and a patience where nothing may come.
constexpr std::chrono::milliseconds kHang = 30s, kAMoment = 100ms;

std::string sample(const char* name) {
  return std::string(COMPOSITIONS_DIR) + "/" + name + ".vuo";
}

/// What a host does, from the first load to the scene's end.
class Story {
 public:
  Story(ZQBufferPool& pool, std::chrono::milliseconds patience)
      : _pool(pool), _patience(patience) {}

  void run() {
    picture = _pool.allocBufferWithPixels({8, 4, std::vector<std::uint8_t>(128, 99)});
    expect(static_cast<bool>(picture), "no picture to filter");
    for (const bool newProcess : {true, false}) {
      scene = VuoGLScene::initWithSize(64, 36);
      expect(scene != nullptr, "no scene");
      if (!scene) continue;
      scene->setRunnerNewProcess(newProcess);
      scene->setStatusHandler([](const VuoSceneStatus&) {});
      VuoCache::clearCache();  // what is loaded is compiled
      load(sample("plasma"), true);
      generate();
      load(sample("invert"), false);
      filter();
      load(sample("invert"), true);
      filter();
      scene->useFile(std::nullopt);
      expect(scene->status().state == State::Empty, "not empty after unloading");
      scene->prepareToBeDeleted();
      scene = nullptr;
    }
    picture = nullptr;
  }

  /// What did not work, which is no fault while something is refused.
  std::string missing;
  /// What must never be.
  std::string fault;
  std::optional<std::string> hasRaised;

 private:
  void expect(bool holds, const std::string& otherwise) {
    if (!holds) missing += otherwise + "\n";
  }
  void load(const std::string& file, bool async) {
    scene->useFile(file, async);
    const auto end = Clock::now() + _patience;
    while (scene->status().state == State::Loading && Clock::now() < end) {
      pollfd due{platform::MainQueue::shared().fileDescriptor(), POLLIN, 0};
      ::poll(&due, 1, 20);
      platform::MainQueue::shared().runDue();
    }
    if (scene->status().state == State::Loading) fault += "loading for ever " + file + "\n";
    expect(scene->status().state == State::Running, "can't load " + scene->status().message);
  }
  void frame(const VuoFrameRequest& request) {
    const VuoFrame frame = scene->renderFrame(request, _patience);
    if (frame.answer == VuoFrame::Answer::Late) fault += "a frame for ever\n";
    expect(frame.answer == VuoFrame::Answer::Fresh && frame.buffer && frame.image("outputImage"),
           "no fresh frame: " + frame.message);
    if (frame.buffer)
      expect(!_pool.readPixels(*frame.buffer).rgba.empty(), "a frame without pixels");
  }
  void generate() {
    VuoFrameRequest request;
    request.time = 2.5;
    request.size = ZQSize{48, 27};
    request.values["speed"] = std::make_shared<const ZQVuoPortValue>(2.0);
    frame(request);
    scene->setSize(32, 18);
    scene->setValue(std::make_shared<const ZQVuoPortValue>(0.5), "speed");
    (void)scene->copyAndClearOutValPortNames();
    expect(static_cast<bool>(scene->allocAndRenderABuffer()), "no generated picture");
    expect(static_cast<bool>(scene->allocValueForOutputKey("outputImage").buffer), "no value");
  }
  void filter() {
    VuoFrameRequest request;
    request.time = 1;
    request.image = picture;
    frame(request);
    if (picture) scene->setBuffer(picture, "image");
    (void)scene->runFilterOnFrame(picture);
  }

  ZQBufferPool& _pool;
  const std::chrono::milliseconds _patience;
  ZQBufferRef picture;
  std::shared_ptr<VuoGLScene> scene;
};

void settle() {
  platform::finishQueues();
  platform::MainQueue::shared().runDue();
  platform::finishQueues();
}

/// In a process of its own: a story with the n-th call of a function refused, then one with
/// nothing refused. Tells what went wrong, or "over" when there is no n-th call, and what is held
/// afterwards.
struct Outcome {
  std::string wrong, held;
  bool isOver = false;
};

Outcome livedThrough(const char* function, int n, bool hasLivedBefore, bool andTheRest) {
  TestFolder folder;
  ::setenv("TMPDIR", folder.path.c_str(), 1);
  TestLog log;
  const auto context = platform::GLContext::createRoot();
  const auto pool = ZQBufferPool::create(context->handle());
  _globalZQBufferPool = pool.get();
  VuoGLScene::setGlobalVuoGLContext(context);
  platform::setAlertPresenter([](const platform::Alert&) { return std::size_t{0}; });
  useEmptyCache(folder.path);
  Outcome outcome;
  const auto live = [&](bool isRefusing) {
    Story story(*pool, isRefusing && andTheRest ? kAMoment : kHang);
    callsLeft = n;
    refusesTheRest = andTheRest;
    refused = isRefusing ? function : nullptr;
    try {
      story.run();
    } catch (const std::exception& raised) {
      story.hasRaised = raised.what();
    }
    if (andTheRest) refused = nullptr;  // what waits for a thread gets one
    settle();
    refused = nullptr;
    if (!isRefusing || !andTheRest) outcome.wrong += story.fault;
    if (story.hasRaised) outcome.wrong += "raised " + *story.hasRaised;
    if (!isRefusing) outcome.wrong += story.missing;
    if (!isRefusing && !story.missing.empty())
      for (const auto& line : log.take()) outcome.wrong += "  " + line + "\n";
    log.take();
  };
  if (hasLivedBefore) live(false);
  live(true);
  outcome.isOver = callsLeft > 0;
  live(false);
  std::ostringstream held;
  held << Holdings::now();
  outcome.held = held.str();
  return outcome;
}

Outcome outcomeOf(const char* function, int n, bool hasLivedBefore, bool andTheRest) {
  int ends[2];
  if (::pipe(ends) != 0) return {"no pipe", "", true};
  const pid_t child = ::fork();
  if (child == 0) {
    ::close(ends[0]);
    ::alarm(100);
    std::set_terminate([] { std::abort(); });
    ::signal(SIGABRT, [](int) {
      backtrace_symbols_fd(site, siteDepth, STDERR_FILENO);
      ::signal(SIGABRT, SIG_DFL);
      ::raise(SIGABRT);
    });
    const Outcome outcome = livedThrough(function, n, hasLivedBefore, andTheRest);
    if (!outcome.wrong.empty()) backtrace_symbols_fd(site, siteDepth, STDERR_FILENO);
    std::string text =
        std::string(outcome.isOver ? "o" : "n") + outcome.held + "\n" + outcome.wrong;
    for (std::string_view rest = text; !rest.empty();) {
      const ssize_t count = ::write(ends[1], rest.data(), rest.size());
      if (count <= 0) break;
      rest.remove_prefix(static_cast<std::size_t>(count));
    }
    ::_exit(0);
  }
  ::close(ends[1]);
  std::string text;
  char bytes[4096];
  for (ssize_t count; (count = ::read(ends[0], bytes, sizeof bytes)) > 0;)
    text.append(bytes, static_cast<std::size_t>(count));
  ::close(ends[0]);
  int status = 0;
  ::waitpid(child, &status, 0);
  Outcome outcome;
  if (status != 0 || text.empty()) {
    outcome.wrong = "ended by signal " + std::to_string(WTERMSIG(status));
    return outcome;
  }
  const auto line = text.find('\n');
  outcome.isOver = text[0] == 'o';
  outcome.held = text.substr(1, line - 1);
  outcome.wrong = text.substr(line + 1);
  return outcome;
}

class Shortage : public testing::TestWithParam<Refusal> {};

TEST_P(Shortage, OfOneCallOrOfAllFromThereOn) {
  const auto& [function, error, stride] = GetParam();
  const char* const whole = std::getenv("BRANNOW_SHORTAGE");
  const int step = whole ? std::atoi(whole) : stride;
  for (const bool hasLivedBefore : {false, true}) {
    const Outcome usual = outcomeOf("nothing", 1, hasLivedBefore, false);
    ASSERT_EQ(usual.wrong, "");
    for (const bool andTheRest : {false, true}) {
      bool isOver = false;
      int n = 1;
      for (; !isOver; n += step) {
        const Outcome outcome = outcomeOf(function, n, hasLivedBefore, andTheRest);
        isOver = outcome.isOver;
        EXPECT_EQ(outcome.wrong.empty() ? outcome.held : outcome.wrong, usual.held)
            << function << " " << n << (andTheRest ? " and the rest" : "")
            << (hasLivedBefore ? ", used before" : ", first use");
      }
      if (whole)
        std::cout << function << (hasLivedBefore ? ", used before: " : ", first use: ") << n - step
                  << (andTheRest ? " and the rest\n" : " calls\n");
    }
  }
}

INSTANTIATE_TEST_SUITE_P(All, Shortage, testing::ValuesIn(kRefusals),
                         [](const auto& kind) { return std::string(kind.param.function); });

}  // namespace
