// Describing a file, beside the parser of the format that the files are written in.
#include <graphviz/cgraph.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "Brannow/ZQVuoComposition.h"
#include "benchmarks/Measured.h"
#include "benchmarks/Process.h"
#include "benchmarks/Session.h"

namespace {

/// A composition of about that many bytes: nodes, cables, comments and a few published ports.
std::string composition(std::size_t bytes) {
  std::string text = R"(digraph Large {
PublishedInputs [type="vuo.in" label="PublishedInputs|<width>width\l|<height>height\l|<time>time\l|<speed>speed\l" _width_type="VuoInteger" _width="640" _height_type="VuoInteger" _height="360" _time_type="VuoReal" _speed_type="VuoReal" _speed="0.5" _speed_suggestedMin="0" _speed_suggestedMax="2"];
PublishedOutputs [type="vuo.out" label="PublishedOutputs|<outputImage>outputImage\l" _outputImage_type="VuoImage"];
)";
  for (int i = 0; text.size() + 2 < bytes; ++i) {
    const std::string name = "Node" + std::to_string(i);
    text += name + R"( [type="vuo.expression" expression="a + b * 2" label=")" + name +
            R"(|<a>a\l|<b>b\l|<result>result\r" pos="12,34" _a="1" _b="2"];)" + "\n" +
            "PublishedInputs:speed -> " + name + ":a;\n";
  }
  return text + "}\n";
}

void describe(const std::string& file) {
  if (!ZQVuoComposition::initWithPath(file)) std::abort();
}

void parseWithGraphviz(const std::string& file) {
  FILE* in = std::fopen(file.c_str(), "rb");
  Agraph_t* graph = agread(in, nullptr);
  std::fclose(in);
  if (!graph) std::abort();
  agclose(graph);
}

/// The peak of this program alone; what getrusage tells is handed on from parents.
double mostMemory() {
  const std::string status = textOf("/proc/self/status");
  const std::string key = "VmHWM:";
  const std::size_t place = status.find(key);
  if (place == status.npos) std::abort();
  return 1024 * std::atof(status.c_str() + place + key.size());
}

/// The most memory that the description held at once, over what a process holds anyway, in bytes.
/// Measured in a new process, since what this one once held it may still hold.
double peakOf(const std::string& file) {
  Process process({std::filesystem::read_symlink("/proc/self/exe"), file});
  double more = 0;
  if (!process.read(&more, sizeof more) || more <= 0) std::abort();
  return more;
}

int tellPeakOf(const char* file) {
  const double before = mostMemory();
  describe(file);
  const double more = mostMemory() - before;
  return write(STDOUT_FILENO, &more, sizeof more) == sizeof more ? 0 : 1;
}

struct Length {
  const char* name;
  std::size_t bytes;
  int rounds;
  int times;  ///< in one sample
  std::optional<double> mostOfGraphviz;
};

}  // namespace

int main(int count, char** arguments) {
  if (count == 2) return tellPeakOf(arguments[1]);
  std::string folder = (std::filesystem::temp_directory_path() / "brannow-bench-XXXXXX").string();
  if (!::mkdtemp(folder.data())) std::abort();
  const std::string file = folder + "/large.vuo";
  for (const auto& [name, bytes, rounds, times, mostOfGraphviz] :
       {Length{"1 kB", 1'000, 15, 1000, {}}, Length{"1 MB", 1'000'000, 15, 5, 1.0 / 50},
        Length{"50 MB", 50'000'000, 3, 1, {}}}) {
    std::ofstream(file, std::ios::binary) << composition(bytes);
    const auto size = static_cast<double>(std::filesystem::file_size(file));
    const auto nanosecondsPerByte = [&, times = times](void (*work)(const std::string&)) {
      return [&, times, work] {
        const double taken = milliseconds([&] {
          for (int i = 0; i < times; ++i) work(file);
        });
        return 1e6 * taken / times / size;
      };
    };
    compare({std::string("description of a file of ") + name + ", per byte", "ns"},
            {{"initWithPath:", nanosecondsPerByte(describe), {}, {}},
             {"Graphviz's parser", nanosecondsPerByte(parseWithGraphviz), mostOfGraphviz, {}}},
            rounds);
    if (bytes >= 1'000'000)
      print({std::string("peak memory for a file of ") + name + ", per byte", "B"},
            {"initWithPath:", {peakOf(file) / size}, {}, 3.0});
  }
  std::filesystem::remove_all(folder);
}
