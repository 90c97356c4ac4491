// A host of frei0r plug-ins that knows nothing but frei0r.h.
//   frei0r_host info FILE                                      what it says of itself, before any
//   start frei0r_host draw FILE WIDTH HEIGHT TIME [NAME=VALUE...]    a picture on standard output
//   frei0r_host many FILE                                      instances at once draw what single
//   ones do frei0r_host killed FILE                                    its processes are killed
#include <dlfcn.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

extern "C" {
#include <frei0r.h>
}

namespace {

void* library;

void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "FAILED: %s\n", what);
  std::_Exit(1);
}

template <class Function>
Function* named(Function*, const char* name) {
  auto* function = reinterpret_cast<Function*>(::dlsym(library, name));
  require(function, name);
  return function;
}
#define PLUGIN(function) named(&function, #function)

using Picture = std::vector<std::uint32_t>;

struct Instance {
  Instance(unsigned width, unsigned height)
      : pixels(std::size_t{width} * height), instance(PLUGIN(f0r_construct)(width, height)) {
    require(instance, "an instance");
  }
  ~Instance() { PLUGIN(f0r_destruct)(instance); }
  Instance(const Instance&) = delete;
  Instance& operator=(const Instance&) = delete;

  const Picture& draw(double time) {
    const Picture input(pixels.size(), 0xff2060a0);
    PLUGIN(f0r_update)(instance, time, input.data(), pixels.data());
    return pixels;
  }

  Picture pixels;
  f0r_instance_t instance;
};

f0r_plugin_info_t pluginInfo() {
  f0r_plugin_info_t info;
  PLUGIN(f0r_get_plugin_info)(&info);
  return info;
}

f0r_param_info_t parameterInfo(int index) {
  f0r_param_info_t info;
  PLUGIN(f0r_get_param_info)(&info, index);
  return info;
}

void tellInfo() {
  const auto info = pluginInfo();
  std::printf("%s type %d model %d frei0r %d\n", info.name, info.plugin_type, info.color_model,
              info.frei0r_version);
  for (int i = 0; i < info.num_params; ++i) {
    const auto parameter = parameterInfo(i);
    std::printf("%s %d %s\n", parameter.name, parameter.type, parameter.explanation);
  }
}

void set(Instance& instance, const std::string& assignment) {
  const auto equals = assignment.find('=');
  const std::string name = assignment.substr(0, equals), value = assignment.substr(equals + 1);
  double parts[3] = {};
  std::sscanf(value.c_str(), "%lf/%lf/%lf", &parts[0], &parts[1], &parts[2]);
  f0r_param_color_t color{static_cast<float>(parts[0]), static_cast<float>(parts[1]),
                          static_cast<float>(parts[2])};
  const char* text = value.c_str();
  for (int i = 0; i < pluginInfo().num_params; ++i) {
    const auto parameter = parameterInfo(i);
    if (parameter.name != name) continue;
    void* pointer = parts;
    if (parameter.type == F0R_PARAM_COLOR) pointer = &color;
    if (parameter.type == F0R_PARAM_STRING) pointer = &text;
    PLUGIN(f0r_set_param_value)(instance.instance, pointer, i);
    if (parameter.type != F0R_PARAM_DOUBLE) return;
    double got = -1;
    PLUGIN(f0r_get_param_value)(instance.instance, &got, i);
    return require(got == parts[0], "gives a value as it was set");
  }
  require(false, "has the parameter");
}

void many() {
  constexpr unsigned count = 6;
  std::vector<Picture> pictures(count);
  std::vector<std::thread> threads;
  for (unsigned i = 0; i < count; ++i) {
    threads.emplace_back([&, i] {
      Instance instance(8 + 8 * i, 16);
      for (int frame = 0; frame <= 4; ++frame) pictures[i] = instance.draw(frame);
    });
  }
  for (auto& thread : threads) thread.join();
  for (unsigned i = 0; i < count; ++i)
    require(Instance(8 + 8 * i, 16).draw(4) == pictures[i], "many draw what one does");
}

void killed() {
  const Picture second = Instance(64, 32).draw(2);
  Instance instance(64, 32);
  const Picture first = instance.draw(1);
  require(first != second, "time moves the picture");
  const std::string kill = "pkill -KILL -P " + std::to_string(::getpid()) + " vuo-player";
  require(std::system(kill.c_str()) == 0, "a process is killed");
  while (instance.draw(2) != second) {  // the test ends when this doesn't
    require(instance.pixels == first, "the last picture stays");
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

}  // namespace

int main(int, char** arguments) {
  library = ::dlopen(arguments[2], RTLD_NOW | RTLD_LOCAL);
  if (!library) std::fprintf(stderr, "%s\n", ::dlerror());
  require(library, "loads");
  const std::string task = arguments[1];
  if (task == "info") tellInfo();
  require(PLUGIN(f0r_init)() == 1, "starts");
  if (task == "many") many();
  if (task == "killed") killed();
  if (task == "draw") {
    Instance instance(static_cast<unsigned>(std::atoi(arguments[3])),
                      static_cast<unsigned>(std::atoi(arguments[4])));
    for (char** left = arguments + 6; *left; ++left) set(instance, *left);
    const auto& picture = instance.draw(std::atof(arguments[5]));
    std::fwrite(picture.data(), sizeof(picture[0]), picture.size(), stdout);
  }
  PLUGIN(f0r_deinit)();
  ::dlclose(library);
}
