// How long it takes until a composition shows its first frame.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "benchmarks/BareLoop.h"
#include "benchmarks/Measured.h"
#include "benchmarks/Process.h"
#include "benchmarks/Session.h"

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

void startAndDraw(const std::string& file, bool newProcess) {
  const auto scene = runningScene(file, kWidth, kHeight, newProcess);
  if (!nextFrame(*scene)) std::abort();
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
  const auto cold = [&, newProcess] {
    const std::string unseen = newCopy(session.folder());
    return milliseconds([&] { startAndDraw(unseen, newProcess); });
  };
  const auto cached = [&, newProcess] {
    return milliseconds([&] { startAndDraw(file, newProcess); });
  };
  const std::string mode = newProcess ? "separate process" : "in process";
  compare({"useFile: to the first frame, " + mode, "ms"},
          {{"from the cache", cached, {}, {}}, bare, {"cold", cold, {}, {}}}, kRounds);
}

}  // namespace

int main(int, char** arguments) {
  Session session;
  compileAndLink(session);
  const std::string shader = benchComposition("waves.frag");
  firstFrame(session, false,
             {"bare loop",
              [&] {
                return milliseconds([&] {
                  BareLoop bare(session.context(), textOf(shader), kWidth, kHeight);
                  bare.draw(1);
                });
              },
              1.5,
              {}});
  const std::string bareStart = fs::path(arguments[0]).parent_path() / "bench-bare-start";
  firstFrame(
      session, true,
      {"bare loop, as a process",
       [&] {
         return milliseconds([&] {
           Process process({bareStart, shader, std::to_string(kWidth), std::to_string(kHeight)});
           char told;
           if (!process.read(&told, 1)) std::abort();
         });
       },
       1.5,
       {}});
}
