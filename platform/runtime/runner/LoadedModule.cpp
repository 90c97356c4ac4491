#include "platform/runtime/runner/LoadedModule.h"

#include <dlfcn.h>
#include <sys/stat.h>

#include <map>
#include <mutex>
#include <stdexcept>

namespace vuo {
namespace {

/// The file itself, whatever its path.
using FileIdentity = std::pair<dev_t, ino_t>;

FileIdentity identityOf(int file) {
  struct stat status {};
  if (fstat(file, &status) != 0) throw std::runtime_error("The module can't be read");
  return {status.st_dev, status.st_ino};
}

/// The loader knows a library by the name that it was opened under, so each file goes by a name
/// that no other file has: that of a descriptor which stays open for as long as the library does.
std::string nameFor(const FileDescriptor& file) {
  return "/proc/self/fd/" + std::to_string(file.get());
}

/// Held while a library is opened or closed; taken before no other lock of the runtime.
std::mutex& registryLock() {
  static auto* const lock = new std::mutex;
  return *lock;
}

}  // namespace

struct LoadedModule::Handle {
  FileDescriptor file;
  void* library;

  ~Handle() {
    dlclose(library);
    if (void* remaining = dlopen(nameFor(file).c_str(), RTLD_LAZY | RTLD_NOLOAD)) {
      dlclose(remaining);
      file.release();
    }
  }
};

std::shared_ptr<LoadedModule::Handle> LoadedModule::open(FileDescriptor file) {
  static auto* const handles = new std::map<FileIdentity, std::weak_ptr<Handle>>;
  std::weak_ptr<Handle>& known = (*handles)[identityOf(file.get())];
  if (auto handle = known.lock()) return handle;

  void* library = dlopen(nameFor(file).c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) throw std::runtime_error(dlerror());
  std::shared_ptr<Handle> handle(new Handle{std::move(file), library});
  known = handle;
  std::erase_if(*handles, [](const auto& item) { return item.second.expired(); });
  return handle;
}

LoadedModule::LoadedModule(FileDescriptor file) {
  std::lock_guard hold(registryLock());
  _handle = open(std::move(file));
  _entry = reinterpret_cast<ModuleEntry>(dlsym(_handle->library, moduleEntryName));
  if (_entry == nullptr) {
    _handle = nullptr;
    throw std::runtime_error("The file is no composition of this version of the runtime");
  }
}

LoadedModule::~LoadedModule() {
  std::lock_guard hold(registryLock());
  _handle = nullptr;
}

}  // namespace vuo
