#include "runtime/HelperFolder.h"

#include <dlfcn.h>

#include <filesystem>
#include <system_error>

namespace vuo {

namespace {

/// The linker may have found the library by a link that lies elsewhere.
std::string folderOfHelpers() {
  static const char inThisLibrary = 0;
  Dl_info info{};
  std::string folder;
  std::error_code error;
  if (dladdr(&inThisLibrary, &info) != 0 && info.dli_fname != nullptr)
    folder = std::filesystem::canonical(info.dli_fname, error).parent_path().string();
  return (folder.empty() ? "." : folder) + "/Frameworks/Vuo.framework/Helpers";
}

}  // namespace

std::string helperFolder() {
  static const std::string folder = folderOfHelpers();
  return folder;
}

}  // namespace vuo
