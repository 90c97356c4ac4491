#include "plugins/frei0r/Plugin.h"

#include <dlfcn.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "Brannow/BrannowVersion.h"
#include "plugins/frei0r/ElfSection.h"

// The section that an export fills.
asm(".pushsection .brannow,\"\",@progbits\n.byte 0\n.popsection");

namespace frei0r {
namespace {

void complain(const std::string& name, const std::string& text) {
  std::fprintf(stderr, "brannow: %s: %s\n", name.c_str(), text.c_str());
}

std::string fileOfThisCode() {
  Dl_info info{};
  ::dladdr(reinterpret_cast<const void*>(&fileOfThisCode), &info);
  return info.dli_fname ? info.dli_fname : "";
}

Export exportIn(const std::string& file) {
  std::ifstream stream(file, std::ios::binary);
  const std::string elf{std::istreambuf_iterator<char>(stream), {}};
  const auto section = sectionOf(elf, exportSection);
  auto contents = section ? exportFromBytes(*section) : std::nullopt;
  if (!contents) throw std::runtime_error("there is no composition in it");
  return *std::move(contents);
}

/// Reads the description from memory: nothing is written for a look.
std::shared_ptr<ZQVuoComposition> describe(const std::string& text) {
  const int memory = ::memfd_create("composition", MFD_CLOEXEC);
  const auto size = static_cast<ssize_t>(text.size());
  const bool isWhole = ::write(memory, text.data(), text.size()) == size;
  auto composition = ZQVuoComposition::initWithPath("/proc/self/fd/" + std::to_string(memory));
  ::close(memory);
  if (!isWhole || !composition) throw std::runtime_error("no memory for its composition");
  return composition;
}

}  // namespace

const Plugin* Plugin::ofThisFile() {
  static const Plugin* const plugin = []() -> const Plugin* {
    const std::string file = fileOfThisCode();
    try {
      return new Plugin(exportIn(file));
    } catch (const std::exception& fault) {
      complain(file, fault.what());
      return nullptr;
    }
  }();
  return plugin;
}

Plugin::Plugin(Export contents)
    : _contents(std::move(contents)),
      _name(std::filesystem::path(_contents.files.front().name).stem()) {
  const auto composition = frei0r::describe(_contents.files.front().contents);
  _isFilter = composition->conformsToVuoProtocol(ZQVuoProtocol_ImageFilter);
  _parameters = Parameter::allOf(*composition);
  _explanation = _contents.files.front().name + ", a composition that Brannow runs";
}

void Plugin::describe(f0r_plugin_info_t& info) const {
  info.name = _name.c_str();
  info.author = "Brannow";
  info.plugin_type = _isFilter ? F0R_PLUGIN_TYPE_FILTER : F0R_PLUGIN_TYPE_SOURCE;
  info.color_model = F0R_COLOR_MODEL_RGBA8888;
  info.frei0r_version = FREI0R_MAJOR_VERSION;
  info.major_version = BRANNOW_VERSION_MAJOR;
  info.minor_version = BRANNOW_VERSION_MINOR;
  info.num_params = static_cast<int>(_parameters.size());
  info.explanation = _explanation.c_str();
}

void Plugin::say(const std::string& text) const {
  complain(_name, text);
}

}  // namespace frei0r
