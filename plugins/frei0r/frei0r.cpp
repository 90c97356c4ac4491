// frei0r's functions. Hosts may ask for the information first and start the plug-in later.
#pragma GCC visibility push(default)
extern "C" {
#include <frei0r.h>
}
#pragma GCC visibility pop

#include <exception>

#include "plugins/frei0r/Instance.h"
#include "plugins/frei0r/Plugin.h"

using frei0r::Instance;
using frei0r::Plugin;

namespace {

/// Pictures have at most 256 MiB.
constexpr std::uint64_t mostPixels = std::uint64_t{8192} * 8192;

/// Nothing is thrown at a host.
template <class Work>
void guarded(Work work) noexcept try {
  work();
} catch (const std::exception& fault) {
  if (const auto* plugin = Plugin::ofThisFile()) plugin->say(fault.what());
}

}  // namespace

int f0r_init() {
  return Plugin::ofThisFile() ? 1 : 0;
}

void f0r_deinit() {}

void f0r_get_plugin_info(f0r_plugin_info_t* info) {
  *info = {"brannow",
           "Brannow",
           F0R_PLUGIN_TYPE_SOURCE,
           F0R_COLOR_MODEL_RGBA8888,
           FREI0R_MAJOR_VERSION,
           0,
           0,
           0,
           "no composition"};
  if (const auto* plugin = Plugin::ofThisFile()) plugin->describe(*info);
}

void f0r_get_param_info(f0r_param_info_t* info, int param_index) {
  const auto* plugin = Plugin::ofThisFile();
  if (!plugin || param_index < 0 ||
      static_cast<std::size_t>(param_index) >= plugin->parameters().size())
    return;
  const auto& parameter = plugin->parameters()[static_cast<std::size_t>(param_index)];
  *info = {parameter.name().c_str(), parameter.type(), parameter.explanation().c_str()};
}

f0r_instance_t f0r_construct(unsigned int width, unsigned int height) {
  const auto* plugin = Plugin::ofThisFile();
  if (!plugin || width == 0 || height == 0 || std::uint64_t{width} * height > mostPixels)
    return nullptr;
  f0r_instance_t instance = nullptr;
  guarded([&] { instance = new Instance(*plugin, width, height); });
  return instance;
}

void f0r_destruct(f0r_instance_t instance) {
  delete static_cast<Instance*>(instance);
}

void f0r_set_param_value(f0r_instance_t instance, f0r_param_t param, int param_index) {
  guarded([&] {
    static_cast<Instance*>(instance)->setParameter(static_cast<std::size_t>(param_index), param);
  });
}

void f0r_get_param_value(f0r_instance_t instance, f0r_param_t param, int param_index) {
  static_cast<Instance*>(instance)->writeParameter(static_cast<std::size_t>(param_index), param);
}

void f0r_update(f0r_instance_t instance, double time, const uint32_t* in, uint32_t* out) {
  const void* caller = __builtin_return_address(0);
  guarded([&] { static_cast<Instance*>(instance)->update(time, caller, in, out); });
}

void f0r_update2(f0r_instance_t instance, double time, const uint32_t* in, const uint32_t*,
                 const uint32_t*, uint32_t* out) {
  const void* caller = __builtin_return_address(0);
  guarded([&] { static_cast<Instance*>(instance)->update(time, caller, in, out); });
}
