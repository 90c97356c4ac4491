// What a host does with a scene, with one call for a thread, a descriptor, memory or a process
// refused, or all from one on. Each time in a process of its own, where it meets what is used for
// the first time or has been used before. Here a few calls of each kind; with
// BRANNOW_SHORTAGE="new" every single one of that kind, with "new 7 2" every seventh from the
// second on.
#include <dlfcn.h>
#include <execinfo.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <link.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <atomic>
#include <cstring>
#include <functional>
#include <iostream>
#include <new>
#include <sstream>
#include <string_view>

#include "Brannow/Brannow.h"
#include "EmptyCache.h"
#include "Holdings.h"
#include "TestSupport.h"
#include "Waiting.h"
#include "platform/system/Alert.h"

namespace {

// What the framework calls. What others call is left alone: a driver may end the process when it is
// refused something, and that is not the framework's to mend.

struct Kind {
  std::string_view function;
  int error;
  std::vector<int> calls;  ///< in the suite: those that are refused alone
  int andTheRest;          ///< and the one from which all are
};
const Kind kKinds[] = {
    {"open", EMFILE, {3}, 12},          {"mmap", ENOMEM, {3}, 6},
    {"pthread_create", EAGAIN, {1}, 2}, {"posix_spawn", EAGAIN, {1}, 2},
    {"pidfd_open", EMFILE, {1}, 2},     {"socketpair", EMFILE, {1}, 2},
    {"memfd_create", ENOMEM, {1}, 2},   {"write", ENOSPC, {1}, 2},
    {"pipe2", EMFILE, {1}, 2},          {"eventfd", EMFILE, {1}, 2},
    {"fcntl", EMFILE, {1}, 2},          {"mkostemp", EMFILE, {1}, 2},
    {"sendmsg", ENOBUFS, {4}, 11},      {"new", ENOMEM, {700, 1500}, 2300},
};

const Kind* volatile refused = nullptr;   // null while nothing is
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
  const Kind* const kind = refused;
  if (!kind || function != kind->function || isAsking) return false;
  isAsking = true;
  const int left = isTheFrameworks(caller) ? --callsLeft : 1;
  if (left == 0) siteDepth = backtrace(site, 32);
  isAsking = false;
  const bool isSo = refusesTheRest ? left <= 0 : left == 0;
  if (isSo) errno = kind->error;
  return isSo;
}

bool isFile(int descriptor) {
  struct stat status {};
  return fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

}  // namespace

// NOLINTBEGIN: these stand before the C library's own.
#define IS_REFUSED(kind) isRefused(kind, __builtin_return_address(0))
/// Gives `otherwise` for a call that is refused, which may be those for which `when` holds.
#define STAND_BEFORE(name, kind, when, otherwise, result, parameters, arguments)              \
  result refusing_##name parameters asm(#name);                                               \
  result refusing_##name parameters {                                                         \
    static const auto call = reinterpret_cast<result(*) parameters>(dlsym(RTLD_NEXT, #name)); \
    return refused && (when) && IS_REFUSED(kind) ? otherwise : call arguments;                \
  }
#define STAND_BEFORE_ALL(name, otherwise, parameters, arguments) \
  STAND_BEFORE(name, #name, true, otherwise, int, parameters, arguments)

STAND_BEFORE(open, "open", true, -1, int, (const char* path, int flags, mode_t mode),
             (path, flags, mode))
STAND_BEFORE(__open_2, "open", true, -1, int, (const char* path, int flags), (path, flags))
STAND_BEFORE(mmap, "mmap", true, MAP_FAILED, void*,
             (void* at, std::size_t length, int protection, int flags, int file, off_t offset),
             (at, length, protection, flags, file, offset))
STAND_BEFORE(fcntl, "fcntl", command == F_DUPFD_CLOEXEC, -1, int,
             (int file, int command, void* argument), (file, command, argument))
STAND_BEFORE(sendmsg, "sendmsg", true, -1, ssize_t, (int socket, const msghdr* message, int flags),
             (socket, message, flags))
/// To files: no other can fail for want of room.
STAND_BEFORE(write, "write", isFile(file), -1, ssize_t,
             (int file, const void* bytes, std::size_t count), (file, bytes, count))
STAND_BEFORE_ALL(pthread_create, errno, (void* thread, void* how, void* run, void* argument),
                 (thread, how, run, argument))
STAND_BEFORE_ALL(posix_spawn, errno,
                 (void* process, void* path, void* actions, void* how, void* words,
                  void* variables),
                 (process, path, actions, how, words, variables))
STAND_BEFORE_ALL(pidfd_open, -1, (pid_t process, unsigned flags), (process, flags))
STAND_BEFORE_ALL(socketpair, -1, (int domain, int type, int protocol, int* ends),
                 (domain, type, protocol, ends))
STAND_BEFORE_ALL(memfd_create, -1, (const char* name, unsigned flags), (name, flags))
STAND_BEFORE_ALL(pipe2, -1, (int* ends, int flags), (ends, flags))
STAND_BEFORE_ALL(eventfd, -1, (unsigned count, int flags), (count, flags))
STAND_BEFORE_ALL(mkostemp, -1, (char* name, int flags), (name, flags))

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
constexpr bool kRefusesMemory = true;
/// The library's own delete frees what this allocates.
void* operator new(std::size_t size) {
  void* const memory = IS_REFUSED("new") ? nullptr : std::malloc(size);
  if (!memory) throw std::bad_alloc();
  return memory;
}
#else
constexpr bool kRefusesMemory = false;
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
  Story(ZQBufferPool& pool, std::chrono::milliseconds patience, std::function<void()> ending)
      : _pool(pool), _patience(patience), _ending(std::move(ending)) {}

  void run() try {
    expect(ZQVuoComposition::initWithPath(sample("tiles")) != nullptr, "no description");
    picture = _pool.allocBufferWithPixels({8, 4, std::vector<std::uint8_t>(128, 99)});
    expect(static_cast<bool>(picture), "no picture to filter");
    for (const bool newProcess : {true, false}) {
      scene = VuoGLScene::initWithSize(64, 36);
      expect(scene != nullptr, "no scene");
      if (!scene) continue;
      scene->setRunnerNewProcess(newProcess);
      scene->setStatusHandler([](const VuoSceneStatus&) {});
      VuoCache::clearCache();  // what is loaded is compiled
      load(sample("tiles"), true);
      generate();
      load(sample("invert"), false);
      load(sample("invert"), true);
      filter();
      _ending();
      scene->useFile(std::nullopt);
      expect(scene->status().state == State::Empty, "not empty after unloading");
      scene->prepareToBeDeleted();
      scene = nullptr;
    }
    picture = nullptr;
  } catch (const std::exception& exception) {
    raised = std::string("raised ") + exception.what() + "\n";
  }

  std::string missing;  ///< what did not work, which is no fault while something is refused
  std::string endless;  ///< nor is this when nothing comes after it
  std::string raised;   ///< what must never be
  std::string pixels;   ///< of the frames

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
    if (scene->status().state == State::Loading) endless += "loading for ever " + file + "\n";
    expect(scene->status().state == State::Running, "can't load " + scene->status().message);
  }
  void frame(const VuoFrameRequest& request) {
    const VuoFrame frame = scene->renderFrame(request, _patience);
    if (frame.answer == VuoFrame::Answer::Late) endless += "a frame for ever\n";
    expect(frame.answer == VuoFrame::Answer::Fresh && frame.buffer && frame.image("outputImage"),
           "no fresh frame: " + frame.message);
    if (!frame.buffer) return;
    const ZQPixels made = _pool.readPixels(*frame.buffer);
    expect(!made.rgba.empty(), "a frame without pixels");
    pixels.append(made.rgba.begin(), made.rgba.end());
  }
  void generate() {
    VuoFrameRequest request;
    request.time = 2.5;
    request.size = ZQSize{48, 27};
    request.values["weight"] = std::make_shared<const ZQVuoPortValue>(0.3);
    frame(request);
    scene->setSize(32, 18);
    scene->setValue(std::make_shared<const ZQVuoPortValue>(0.5), "weight");
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
  const std::function<void()> _ending;  ///< called when the scene has done its work
  ZQBufferRef picture;
  std::shared_ptr<VuoGLScene> scene;
};

/// A story in which a call is refused, or none.
struct Round {
  const Kind* kind = nullptr;
  int call = 0;
  enum { Alone, AndTheRest, AllAtTheEnd } how = Alone;
};

struct Outcome {
  std::string wrong, held;
  std::string over;  ///< the rounds in which there was no such call
};

std::string textOf(const Round& round) {
  if (!round.kind) return "nothing, ";
  static const char* const how[] = {"", " and the rest", " at the end"};
  return std::string(round.kind->function) + " " + std::to_string(round.call) + how[round.how] +
         ", ";
}

void settle() {
  platform::finishQueues();
  platform::MainQueue::shared().runDue();
  platform::finishQueues();
}

/// Rounds, then a story with nothing refused; and what is held afterwards.
Outcome livedThrough(const std::string& folder, std::vector<Round> rounds) {
  ::setenv("TMPDIR", folder.c_str(), 1);
  TestLog log;
  const auto context = platform::GLContext::createRoot();
  const auto pool = ZQBufferPool::create(context->handle());
  _globalZQBufferPool = pool.get();
  VuoGLScene::setGlobalVuoGLContext(context);
  platform::setAlertPresenter([](const platform::Alert&) { return std::size_t{0}; });
  useEmptyCache(folder);
  Outcome outcome;
  std::size_t frames = 0;
  rounds.push_back({});
  for (const Round& round : rounds) {
    const auto refuse = [&](bool now) { refused = now ? round.kind : nullptr; };
    Story story(*pool, round.how == Round::AndTheRest ? kAMoment : kHang,
                [&] { refuse(round.kind); });
    callsLeft = round.call;
    refusesTheRest = round.how != Round::Alone;
    refuse(round.how != Round::AllAtTheEnd);
    story.run();
    if (refusesTheRest) refuse(false);  // what waits for a thread gets one
    settle();
    refuse(false);
    if (round.kind && callsLeft > 0) outcome.over += textOf(round);
    if (const auto wrong = story.raised + (refusesTheRest ? "" : story.endless); !wrong.empty()) {
      outcome.wrong += textOf(round) + wrong;
      backtrace_symbols_fd(site, siteDepth, STDERR_FILENO);
    }
    if (!round.kind && !story.missing.empty()) {
      outcome.wrong += story.missing;
      for (const auto& line : log.drain()) outcome.wrong += "  " + line + "\n";
    }
    log.drain();
    frames = std::hash<std::string>()(story.pixels);
  }
  waitUntilOthersSleep();  // a thread that has been joined may still be seen
  std::ostringstream held;
  held << Holdings::now() << ", frames " << frames;
  outcome.held = held.str();
  return outcome;
}

Outcome outcomeOf(const std::vector<Round>& rounds) {
  const TestFolder folder;
  const std::string report = folder.path + "/report";
  const pid_t child = ::fork();
  if (child == 0) {
    ::alarm(100);
    std::set_terminate([] { std::abort(); });
    for (const int fault : {SIGABRT, SIGSEGV})
      ::signal(fault, [](int) {
        refused = nullptr;
        backtrace_symbols_fd(site, siteDepth, STDERR_FILENO);
        void* end[64];
        backtrace_symbols_fd(end, backtrace(end, 64), STDERR_FILENO);
        ::_exit(1);
      });
    const Outcome outcome = livedThrough(folder.path, rounds);
    std::ofstream(report) << outcome.over << "\n" << outcome.held << "\n" << outcome.wrong;
    ::_exit(0);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  Outcome outcome;
  std::ifstream text(report);
  std::getline(text, outcome.over);
  std::getline(text, outcome.held);
  std::getline(text, outcome.wrong, '\0');
  if (status != 0) outcome.wrong = "ended with status " + std::to_string(status);
  return outcome;
}

/// The rounds in which there was no such call.
std::string survive(const std::vector<Round>& rounds) {
  static const Outcome usual = outcomeOf({});
  const Outcome outcome = outcomeOf(rounds);
  std::string text;
  for (const Round& round : rounds) text += textOf(round);
  EXPECT_EQ(outcome.wrong + outcome.held, usual.held) << text;
  return outcome.over;
}

TEST(Shortage, OfSomeCallsOfEachKind) {
  std::vector<Round> alone, andTheRest, ofMemory;
  for (const Kind& kind : kKinds) {
    const bool isMemory = kind.function == "new";
    if (isMemory && !kRefusesMemory) continue;
    for (const int call : kind.calls) (isMemory ? ofMemory : alone).push_back({&kind, call});
    (isMemory ? ofMemory : andTheRest).push_back({&kind, kind.andTheRest, Round::AndTheRest});
    if (isMemory) ofMemory.push_back({&kind, 1, Round::AllAtTheEnd});
  }
  EXPECT_EQ(survive(alone), "");
  survive(andTheRest);
  survive(ofMemory);
}

/// As many calls in one life as told; what one leaves behind is met by those after it.
void sweep(const std::string& which, const std::vector<Round>& before, int callsInALife) {
  const char* const asked = std::getenv("BRANNOW_SHORTAGE");
  if (!asked) GTEST_SKIP() << "takes long";
  std::istringstream words(asked);
  std::string function;
  int step = 1, first = 1;
  words >> function >> step >> first;
  for (const Kind& kind : kKinds)
    for (const auto how : {Round::Alone, Round::AndTheRest}) {
      if (kind.function != function) continue;
      std::string over;
      int call = first;
      while (over.empty()) {
        std::vector<Round> rounds = before;
        for (int i = 0; i < callsInALife; ++i, call += step) rounds.push_back({&kind, call, how});
        over = survive(rounds);
      }
      std::cout << asked << which << ": over at " << over << std::endl;
      if (before.empty()) {
        EXPECT_GT(call, first + step) << "not even the first such call was made";
      }
    }
}
TEST(Shortage, OfEachCallAtFirst) {
  sweep(", at first", {}, 1);
}
TEST(Shortage, OfEachCallUsedBefore) {
  sweep(", used before", {{}}, 10);
}

}  // namespace
