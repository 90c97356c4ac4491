#include "platform/system/Bundle.h"

#include <dlfcn.h>
#include <link.h>

#include <filesystem>
#include <system_error>

namespace platform {
namespace {

std::optional<std::string> bundleAbove(const std::filesystem::path& binary) {
  for (auto folder = binary.parent_path(); folder != folder.root_path() && !folder.empty();
       folder = folder.parent_path()) {
    const auto extension = folder.extension();
    if (extension == ".framework" || extension == ".app") return folder.string();
  }
  return std::nullopt;
}

/// The file of a loaded library or of the program. The program's name is empty in the loader's list
/// and elsewhere only what the process was started with, which need not be a path.
std::string binaryPath(const void* address) {
  Dl_info info{};
  link_map* binary = nullptr;
  if (!dladdr1(address, &info, reinterpret_cast<void**>(&binary), RTLD_DL_LINKMAP)) return "";
  return *binary->l_name ? binary->l_name : executablePath();
}

}  // namespace

const std::string& executablePath() {
  static const std::string& path = *new std::string([] {
    std::error_code error;
    return std::filesystem::read_symlink("/proc/self/exe", error).string();
  }());
  return path;
}

std::optional<std::string> bundlePathContaining(const void* address) {
  std::error_code error;
  const auto binary = std::filesystem::canonical(binaryPath(address), error);
  return error ? std::nullopt : bundleAbove(binary);
}

const std::string& mainBundlePath() {
  static const std::string& path =
      *new std::string([] { return bundleAbove(executablePath()).value_or(executablePath()); }());
  return path;
}

std::optional<PropertyListDictionary> bundleInformation(const std::string& bundlePath) {
  return readPropertyList(bundlePath + "/Resources/Info.plist");
}

}  // namespace platform
