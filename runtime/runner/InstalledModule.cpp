#include "runtime/runner/InstalledModule.h"

#include <dlfcn.h>

#include <stdexcept>

#include "runtime/HelperFolder.h"

namespace vuo {
namespace {

ModuleEntry load() {
  const std::string path = helperFolder() + "/vuo-module.so";
  void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) throw std::runtime_error(dlerror());
  const auto entry = reinterpret_cast<ModuleEntry>(dlsym(library, moduleEntryName));
  if (entry == nullptr) throw std::runtime_error(path + " belongs to another runtime");
  return entry;
}

}  // namespace

ModuleEntry installedModule() {
  static const ModuleEntry entry = load();
  return entry;
}

}  // namespace vuo
