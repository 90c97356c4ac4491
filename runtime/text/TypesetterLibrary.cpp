#include <dlfcn.h>

#include <filesystem>
#include <stdexcept>

#include "runtime/text/Typesetter.h"
#include "runtime/text/TypesetterFiles.h"

namespace vuo {
namespace {

/// This code is in the module or in the player, beside which the library lies.
TypesetterEntry load() {
  static const char inThisFile = 0;
  Dl_info info{};
  if (dladdr(&inThisFile, &info) == 0 || info.dli_fname == nullptr)
    throw std::runtime_error("the library that sets text can't be found");
  const auto path = std::filesystem::path(info.dli_fname).replace_filename(typesetterFileName);
  void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr)
    throw std::runtime_error(std::string("the library that sets text can't be loaded: ") +
                             dlerror());
  const auto entry = reinterpret_cast<TypesetterEntry>(dlsym(library, typesetterEntryName));
  if (entry == nullptr) throw std::runtime_error(path.string() + " belongs to another runtime");
  return entry;
}

}  // namespace

/// One that could not be loaded is looked for again: what it needs may have been installed.
std::unique_ptr<Typesetter> makeTypesetter() {
  static const TypesetterEntry entry = load();
  return std::unique_ptr<Typesetter>(entry());
}

}  // namespace vuo
