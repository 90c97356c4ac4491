// How long it takes until a composition shows its first frame.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>

#include "Brannow/MainQueue.h"
#include "benchmarks/BareLoop.h"
#include "benchmarks/Measured.h"
#include "benchmarks/Process.h"
#include "benchmarks/Session.h"
#include "runtime/VuoSharing.h"

namespace {

namespace fs = std::filesystem;

constexpr int kWidth = 1920, kHeight = 1080;
constexpr int kRounds = 15;

/// A copy of the composition under a name that the cache has never seen.
std::string newCopy(const std::string& folder) {
  static int copies = 0;
  const std::string name = folder + "/copy-" + std::to_string(++copies);
  fs::create_directory(name);
  for (const char* file : {"waves.vuo", "waves.frag"})
    fs::copy(benchComposition(file), name + "/" + file);
  return name + "/waves.vuo";
}

/// From nothing to the first frame. What ends it is not timed, and not left to the next
/// sample either.
double startAndDraw(const std::string& file, bool newProcess) {
  std::shared_ptr<VuoGLScene> scene;
  const double taken = milliseconds([&] {
    scene = runningScene(file, kWidth, kHeight, newProcess);
    std::ignore = nextFrame(*scene);
  });
  scene = nullptr;
  brannow::finishQueues();
  return taken;
}

double run(const std::vector<std::string>& command) {
  return milliseconds([&] {
    if (Process(command).wait() != 0) std::abort();
  });
}

void compileAndLink(const Session& session) {
  const auto compile = [&](const auto& fetch) {
    return [&session, fetch] {
      const std::string file = newCopy(session.folder());
      return milliseconds([&] {
        if (!fetch(file)) std::abort();
      });
    };
  };
  const std::string empty = session.folder() + "/empty.cpp";
  std::ofstream(empty).flush();
  compare({"compile and link", "ms"},
          {{"executable",
            compile([](const auto& file) {
              return VuoCache::fetchCachedExeForVuoFileSynchronously(file);
            }),
            {},
            10.0},
           {"dynamic library",
            compile([](const auto& file) {
              return VuoCache::fetchCachedDylibForVuoFileSynchronously(file);
            }),
            {},
            {}},
           {"g++ -shared of an empty file",
            [&] {
              return run({"g++", "-shared", "-o", session.folder() + "/empty.so", empty});
            },
            {},
            {}},
           {"true, as a process", [] { return run({"true"}); }, {}, {}}},
          kRounds);
}

void firstFrame(const Session& session, bool newProcess, const Subject& bare) {
  const std::string file = newCopy(session.folder());
  const auto cold = [&, newProcess] { return startAndDraw(newCopy(session.folder()), newProcess); };
  const auto cached = [&, newProcess] { return startAndDraw(file, newProcess); };
  const std::string mode = newProcess ? "separate process" : "in process";
  std::vector<Subject> subjects{{"from the cache", cached, {}, {}}, bare, {"cold", cold, {}, {}}};
  const auto carried = [&] {
    VuoSharing_allow(false);
    const double taken = cached();
    VuoSharing_allow(true);
    return taken;
  };
  if (newProcess) subjects.push_back({"from the cache, sharing switched off", carried, {}, {}});
  compare({"useFile: to the first frame, " + mode, "ms"}, subjects, kRounds);
}

double startBareLoop(const Session& session, const std::string& shader) {
  std::optional<BareLoop> bare;
  return milliseconds([&] {
    bare.emplace(session.context(), textOf(shader), kWidth, kHeight);
    bare->draw(1);
  });
}

double startBareProcess(const std::string& program, const std::string& shader) {
  std::optional<Process> process;
  return milliseconds([&] {
    char told;
    process.emplace(
        std::vector<std::string>{program, shader, std::to_string(kWidth), std::to_string(kHeight)});
    if (!process->read(&told, 1)) std::abort();
  });
}

}  // namespace

int main(int, char** arguments) {
  Session session;
  compileAndLink(session);
  const std::string shader = benchComposition("waves.frag");
  const std::string bareStart = fs::path(arguments[0]).parent_path() / "bench-bare-start";
  firstFrame(session, false,
             {"bare loop", [&] { return startBareLoop(session, shader); }, 1.5, {}});
  firstFrame(
      session, true,
      {"bare loop, as a process", [&] { return startBareProcess(bareStart, shader); }, 1.5, {}});
}
