// What `brannow render` costs beside a program that does nothing but draw the same frames and write
// them.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <vector>

#include "benchmarks/Measured.h"
#include "benchmarks/Process.h"
#include "benchmarks/Session.h"

namespace {

using Command = std::vector<std::string>;

constexpr int kFrames = 300, kRounds = 7;
const std::string kWidth = "640", kHeight = "360";
constexpr std::size_t kBytesOfAFrame = 4 * 640 * 360;

/// Reads all frames of the program's output.
void run(const Command& command) {
  std::vector<unsigned char> frame(kBytesOfAFrame);
  Process process(command);
  for (int i = 0; i < kFrames; ++i)
    if (!process.read(frame.data(), frame.size())) std::abort();
  if (process.wait() != 0) std::abort();
}

/// Ends the program unless every frame of one is the same frame of the other, but for rounding.
void requireSameFrames(const Command& first, const Command& second) {
  std::vector<unsigned char> ours(kBytesOfAFrame), theirs(kBytesOfAFrame);
  Process one(first), other(second);
  for (int frame = 1; frame <= kFrames; ++frame) {
    if (!one.read(ours.data(), ours.size()) || !other.read(theirs.data(), theirs.size()))
      std::abort();
    for (std::size_t i = 0; i < kBytesOfAFrame; ++i) {
      if (std::abs(ours[i] - theirs[i]) <= 1) continue;
      std::fprintf(stderr, "frame %d of render is not that of the bare loop\n", frame);
      std::_Exit(1);
    }
  }
}

}  // namespace

int main() {
  const Session session;
  const auto folder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
  const std::string frames = std::to_string(kFrames);
  const auto render = [&](bool inProcess) {
    Command command{BENCH_BRANNOW,
                    "render",
                    benchComposition("waves.vuo"),
                    "--size",
                    kWidth + "x" + kHeight,
                    "--frames",
                    frames,
                    "--fps",
                    "60",
                    "--format",
                    "rgba",
                    "-o",
                    "-",
                    "--cache",
                    session.folder()};
    if (inProcess) command.push_back("--in-process");
    return command;
  };
  const Command bare{folder / "bench-raw-source",
                     benchComposition("waves.frag"),
                     kWidth,
                     kHeight,
                     frames,
                     "upright"};
  requireSameFrames(render(false), bare);
  requireSameFrames(render(true), bare);
  const auto whole = [](const Command& command) {
    return [command] { return milliseconds([&] { run(command); }); };
  };
  compare({"render of 300 frames at 640x360, in process", "ms"},
          {{"brannow render", whole(render(true)), {}, {}},
           {"bare loop, as a program that writes its frames", whole(bare), {}, {}}},
          kRounds);
  compare({"render of 300 frames at 640x360, separate process", "ms"},
          {{"brannow render", whole(render(false)), {}, {}},
           {"bare loop, as a program that writes its frames", whole(bare), {}, {}}},
          kRounds);
}
