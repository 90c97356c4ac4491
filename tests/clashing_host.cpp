// A host that has names of its own for what the library has inside, and shows them to every library
// that it loads. With BY_LOADING it also loads the library for everybody to see, and then a plugin
// that is linked with it, whose `main` it calls.
#include <dlfcn.h>

#include <cstdlib>
#include <functional>
#include <initializer_list>
#include <iostream>
#include <string>
#include <string_view>

struct json_object {
  virtual ~json_object() { std::abort(); }
};

namespace glslang {
bool InitializeProcess() {
  std::abort();
}
}  // namespace glslang

namespace asio {
struct io_context {
  [[noreturn]] void run();
};
void io_context::run() {
  std::abort();
}
}  // namespace asio

namespace platform {
class LogArgument;
void systemLog(std::string_view, std::initializer_list<LogArgument>) {
  std::abort();
}
bool itemExists(const std::string&) {
  std::abort();
}
std::string lastPathComponent(std::string_view) {
  std::abort();
}
struct DispatchQueue {
  void after(int);
};
void DispatchQueue::after(int) {
  std::abort();
}
void finishQueues() {
  std::abort();
}
}  // namespace platform

#ifdef BY_LOADING
int main(int count, char** arguments) {
  void* const library = ::dlopen(arguments[1], RTLD_NOW | RTLD_GLOBAL);
  void* const plugin = library ? ::dlopen(arguments[2], RTLD_NOW) : nullptr;
  const auto entry =
      plugin ? reinterpret_cast<int (*)(int, char**)>(::dlsym(plugin, "main")) : nullptr;
  if (entry) return entry(count - 2, arguments + 2);
  std::cerr << ::dlerror() << "\n";
  return 1;
}
#endif
