// A composition's text, with shaders, expressions and pictures as its nodes name them.
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "runtime/compiler/PlanMaker.h"

namespace {

namespace fs = std::filesystem;

/// A folder with a shader and a picture for the composition to name.
fs::path folder() {
  std::string name = (fs::temp_directory_path() / "brannow-fuzz-XXXXXX").string();
  const fs::path made = ::mkdtemp(name.data());
  std::ofstream(made / "s.frag") << "#version 330 core\nin vec2 uv;\nout vec4 p;\n"
                                    "uniform float a;\nuniform sampler2D i;\n"
                                    "void main() { p = a * texture(i, uv); }\n";
  std::ofstream(made / "p.png") << "\x89PNG\r\n\x1a\n";
  return made;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  static const fs::path file = folder() / "c.vuo";
  std::ofstream(file, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes), static_cast<std::streamsize>(size));
  vuo::Faults faults;
  const std::string plan = vuo::serialized(vuo::planOfComposition(file, faults));
  // A plan that is made can be read, and says the same again.
  if (!faults.areErrors() && vuo::serialized(vuo::planFromText(plan)) != plan) std::abort();
  for (const auto& fault : faults.take().faults)
    if (fault.what.empty() || fault.line < 0 || fault.column < 0) std::abort();
  return 0;
}
