#include "platform/runtime/HelperFolder.h"

#include <dlfcn.h>

#include "platform/system/FileSystem.h"

namespace vuo {

std::string helperFolder() {
  static const char inThisLibrary = 0;
  Dl_info info{};
  std::string folder;
  if (dladdr(&inThisLibrary, &info) != 0 && info.dli_fname != nullptr)
    folder = platform::deletingLastPathComponent(info.dli_fname);
  return (folder.empty() ? "." : folder) + "/Frameworks/Vuo.framework/Helpers";
}

}  // namespace vuo
