// Many scenes at once: what they cost together, and what they cost when nobody looks.
#include <time.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <thread>

#include "Brannow/MainQueue.h"
#include "benchmarks/BareLoop.h"
#include "benchmarks/Measured.h"
#include "benchmarks/Process.h"
#include "benchmarks/Session.h"
#include "runtime/VuoSharing.h"

namespace {

namespace fs = std::filesystem;

struct Size {
  int width, height;
  std::string text() const { return std::to_string(width) + "x" + std::to_string(height); }
};

constexpr Size kSmall{320, 180}, kLayer{1280, 720};
constexpr int kRounds = 9;

/// The process that has started the one behind a folder of /proc.
int parentOf(const fs::path& folder) {
  const std::string text = textOf(folder / "stat");
  const std::size_t name = text.rfind(')');
  int parent = -1;
  if (name != text.npos) std::istringstream(text.substr(name + 4)) >> parent;
  return parent;
}

/// This process and those that it has started.
std::vector<std::string> processFolders() {
  std::vector<std::string> folders{"/proc/self"};
  for (const auto& entry : fs::directory_iterator("/proc")) {
    const std::string name = entry.path().filename();
    const bool isProcess = name.find_first_not_of("0123456789") == name.npos;
    if (isProcess && parentOf(entry.path()) == getpid()) folders.push_back(entry.path());
  }
  return folders;
}

/// The number behind `key` in a file of each process, added up.
double total(const char* file, const std::string& key) {
  double sum = 0;
  for (const std::string& folder : processFolders()) {
    std::istringstream text(textOf(folder + "/" + file));
    for (std::string line; std::getline(text, line);)
      if (line.starts_with(key)) sum += std::atof(line.c_str() + key.size());
  }
  return sum;
}

/// Processor time of all of them, in milliseconds.
double processorTime(const std::vector<std::string>& processes) {
  double milliseconds = 0;
  for (const std::string& folder : processes) {
    clockid_t clock;
    timespec time{};
    const std::string pid = fs::path(folder).filename();
    if (clock_getcpuclockid(pid == "self" ? 0 : std::stoi(pid), &clock) != 0 ||
        clock_gettime(clock, &time) != 0)
      std::abort();
    milliseconds +=
        1e3 * static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_nsec);
  }
  return milliseconds;
}

using Scenes = std::vector<std::shared_ptr<VuoGLScene>>;

Scenes scenesOf(int count, Size size, bool newProcess) {
  Scenes scenes;
  while (count-- > 0)
    scenes.push_back(
        runningScene(benchComposition("waves.vuo"), size.width, size.height, newProcess));
  return scenes;
}

void drawAll(const Scenes& scenes) {
  for (const auto& scene : scenes) std::ignore = nextFrame(*scene);
}

/// The compositions draw while the others are still asked, and at the same time.
void askAllThenTake(const Scenes& scenes) {
  std::vector<std::shared_ptr<VuoPendingFrame>> asked;
  for (const auto& scene : scenes) asked.push_back(scene->askForFrame({}));
  for (std::size_t i = 0; i < scenes.size(); ++i) std::ignore = answerTo(asked[i], *scenes[i]);
}

std::string mode(bool newProcess) {
  return newProcess ? "separate processes" : "in process";
}

/// One frame of each, over and over.
Subject inTurn(const std::string& name, int count, const std::function<void()>& drawEach) {
  return {name,
          [=] {
            const int frames = std::max(1, 64 / count);
            const double taken = milliseconds([&] {
              for (int i = 0; i < frames; ++i) drawEach();
            });
            return taken / frames / count;
          },
          {},
          {}};
}

/// As many bare loops, which share what a machine's caches have room for.
Subject bareLoops(const Session& session, int count, Size size, bool carried) {
  const auto loops = std::make_shared<std::vector<std::unique_ptr<BareLoop>>>();
  for (int i = 0; i < count; ++i)
    loops->push_back(std::make_unique<BareLoop>(
        session.context(), textOf(benchComposition("waves.frag")), size.width, size.height));
  return inTurn(std::to_string(count) + (count == 1 ? " bare loop" : " bare loops") +
                    (carried ? ", read back and uploaded" : ""),
                count, [=] {
                  for (const auto& loop : *loops) carried ? loop->drawAndCarry(1) : loop->draw(1);
                });
}

/// The least that pictures can cost which are drawn where nobody who waits can be held: each loop
/// has a thread or a process, which is asked for each frame. No picture is brought anywhere.
Subject askedLoops(const Session& session, int count, Size size, bool newProcess) {
  const std::string name = std::to_string(count) + " bare loops, each asked in a ";
  const std::string shader = benchComposition("waves.frag");
  if (newProcess) {
    const auto processes = std::make_shared<std::vector<std::unique_ptr<Process>>>();
    const auto await = [](Process& process) {
      char drawn;
      if (!process.read(&drawn, 1)) std::abort();
    };
    for (int i = 0; i < count; ++i) {
      processes->push_back(std::make_unique<Process>(std::vector<std::string>{
          fs::read_symlink("/proc/self/exe").parent_path() / "bench-bare-start", shader,
          std::to_string(size.width), std::to_string(size.height)}));
      await(*processes->back());
    }
    return inTurn(name + "process", count, [=] {
      for (const auto& process : *processes) {
        process->write('?');
        await(*process);
      }
    });
  }
  struct Loop {
    Loop(const Session& session, const std::string& shader, Size size)
        : bare(session.context(), shader, size.width, size.height), asked(bare) {}
    BareLoop bare;
    AskedBareLoop asked;
  };
  const auto loops = std::make_shared<std::vector<std::unique_ptr<Loop>>>();
  for (int i = 0; i < count; ++i)
    loops->push_back(std::make_unique<Loop>(session, textOf(shader), size));
  return inTurn(name + "thread", count, [=] {
    for (const auto& loop : *loops) loop->asked.draw(1);
  });
}

void costOfFrames(const Session& session, bool newProcess) {
  std::map<int, Scenes> scenes;
  std::vector<Subject> subjects;
  for (const int count : {64, 16, 4, 1}) {
    scenes[count] = scenesOf(count, kSmall, newProcess);
    subjects.push_back(inTurn(std::to_string(count) + (count == 1 ? " scene" : " scenes"), count,
                              [&all = scenes[count]] { drawAll(all); }));
  }
  subjects[1].mostTimes = 1.2;  // linear: four times as many scenes take four times as long
  for (const int count : {64, 1}) subjects.push_back(bareLoops(session, count, kSmall, false));
  subjects[4].mostTimes = 1.25;
  if (newProcess) subjects.push_back(bareLoops(session, 64, kSmall, true));
  subjects.push_back(askedLoops(session, 64, kSmall, newProcess));
  compare({"frame of one of many scenes at " + kSmall.text() + ", " + mode(newProcess), "ms"},
          subjects, kRounds);
  Subject bare = bareLoops(session, 64, kSmall, false);
  bare.mostTimes = 1.25;
  compare({"frame of one of 64 scenes at " + kSmall.text() +
               ", asked first and taken afterwards, " + mode(newProcess),
           "ms"},
          {inTurn("64 scenes", 64, [&all = scenes[64]] { askAllThenTake(all); }), bare}, kRounds);
}

/// What a host gains that asks all its layers before it takes the first picture.
void costOfLayers(const Session& session, bool newProcess) {
  for (const int count : {1, 4, 16}) {
    const Scenes scenes = scenesOf(count, kLayer, newProcess);
    compare({"frame of one of " + std::to_string(count) + " layers at " + kLayer.text() + ", " +
                 mode(newProcess),
             "ms"},
            {inTurn("asked first, taken afterwards", count, [&] { askAllThenTake(scenes); }),
             inTurn("one after the other", count, [&] { drawAll(scenes); }),
             bareLoops(session, count, kLayer, newProcess)},
            kRounds);
  }
}

void costOfHaving(bool newProcess, const std::string& how) {
  constexpr int kScenes = 64;
  drawAll(scenesOf(1, kSmall, newProcess));
  brannow::finishQueues();  // scenes end in the background
  const double memory = total("smaps_rollup", "Pss:"), threads = total("status", "Threads:");
  const Scenes scenes = scenesOf(kScenes, kSmall, newProcess);
  for (int frame = 0; frame < 8; ++frame) drawAll(scenes);  // until they have what they draw in
  const std::string of = " for each of 64 scenes, " + how;
  print({"memory" + of, "MB"}, {"framework and players",
                                {(total("smaps_rollup", "Pss:") - memory) / 1000 / kScenes},
                                {},
                                {}});
  print({"threads" + of, ""},
        {"framework and players", {(total("status", "Threads:") - threads) / kScenes}, {}, {}});

  Figures idle{"framework and players", {}, {}, 0.5};
  const auto processes = processFolders();
  for (int round = 0; round < 4; ++round) {
    const double before = processorTime(processes);
    std::this_thread::sleep_for(std::chrono::seconds(2));
    if (round > 0) idle.samples.push_back((processorTime(processes) - before) / 2);
  }
  print({"processor time of 64 idle scenes in a second, " + how, "ms"}, idle);
}

}  // namespace

int main() {
  Session session;
  for (const bool newProcess : {false, true}) {
    costOfFrames(session, newProcess);
    costOfHaving(newProcess, mode(newProcess));
  }
  VuoSharing_allow(false);
  costOfHaving(true, "separate processes, sharing switched off");
  VuoSharing_allow(true);
  for (const bool newProcess : {false, true}) costOfLayers(session, newProcess);
}
