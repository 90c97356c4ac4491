#include "runtime/text/TypesetterFiles.h"

#include "runtime/HelperFolder.h"

namespace vuo {

std::vector<std::string> filesOfTypesetter() {
  return {helperFolder() + "/" + typesetterFileName,
          "/etc/fonts",
          "/usr/share/fontconfig",
          "/usr/share/fonts",
          "/usr/local/share/fonts",
          "/var/cache/fontconfig"};
}

}  // namespace vuo
