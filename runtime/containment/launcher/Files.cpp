#include <elf.h>
#include <link.h>
#include <stdlib.h>
#include <sys/auxv.h>

#include <filesystem>
#include <sstream>
#include <string>

#include "runtime/containment/FileRules.h"
#include "runtime/containment/KernelSupport.h"
#include "runtime/containment/launcher/Order.h"

namespace vuo {
namespace {

constexpr std::uint64_t reading = FileRules::reading;
constexpr std::uint64_t usingDevices =
    reading | LANDLOCK_ACCESS_FS_WRITE_FILE | landlock::ioctlDevice;
constexpr std::uint64_t running = LANDLOCK_ACCESS_FS_READ_FILE | LANDLOCK_ACCESS_FS_EXECUTE;
constexpr std::uint64_t filling = reading | LANDLOCK_ACCESS_FS_WRITE_FILE | landlock::truncate |
                                  LANDLOCK_ACCESS_FS_MAKE_REG | LANDLOCK_ACCESS_FS_MAKE_DIR;
/// What the dynamic loader, the C library and GL drivers read.
constexpr const char* systemPaths[] = {
    "/lib", "/lib64", "/usr/lib", "/usr/lib64", "/usr/local/lib", "/etc/ld.so.cache",
    // libglvnd's and Mesa's settings, Vulkan's for the drivers that stand on it
    "/usr/share/glvnd", "/etc/glvnd", "/usr/share/egl", "/etc/egl", "/usr/share/drirc.d",
    "/etc/drirc", "/usr/share/libdrm", "/usr/share/vulkan", "/etc/vulkan", "/usr/share/nvidia",
    // what the machine is
    "/proc/cpuinfo", "/proc/meminfo", "/proc/modules", "/proc/devices", "/proc/driver/nvidia",
    "/sys/devices", "/sys/class/drm", "/sys/dev/char", "/sys/bus/pci", "/sys/module/nvidia",
    "/dev/urandom", "/dev/zero"};

constexpr const char* devicePaths[] = {"/dev/null", "/dev/dri"};
constexpr const char* devicesOfNvidia = "nvidia";

/// Lists of folders and files by which whoever started the host has said where drivers lie.
constexpr const char* variables[] = {"LD_LIBRARY_PATH", "LIBGL_DRIVERS_PATH",
                                     "__EGL_VENDOR_LIBRARY_DIRS", "__EGL_VENDOR_LIBRARY_FILENAMES"};

std::vector<std::string> graphicsDevices() {
  std::vector<std::string> devices(std::begin(devicePaths), std::end(devicePaths));
  std::error_code ignored;
  for (const auto& entry : std::filesystem::directory_iterator("/dev", ignored))
    if (entry.path().filename().string().starts_with(devicesOfNvidia))
      devices.push_back(entry.path());
  return devices;
}

/// The program that the kernel starts for every program: this one's is every other's.
std::string dynamicLoader() {
  const auto* header = reinterpret_cast<const ElfW(Phdr)*>(getauxval(AT_PHDR));
  const unsigned long count = getauxval(AT_PHNUM);
  std::uintptr_t moved = 0;
  for (unsigned long i = 0; i < count; ++i)
    if (header[i].p_type == PT_PHDR)
      moved = reinterpret_cast<std::uintptr_t>(header) - header[i].p_vaddr;
  for (unsigned long i = 0; i < count; ++i)
    if (header[i].p_type == PT_INTERP)
      return reinterpret_cast<const char*>(moved + header[i].p_vaddr);
  return {};
}

}  // namespace

void restrictFiles(const Order& order) {
  if (landlock::version() == 0) return;  // the host has said so
  FileRules rules;
  for (const char* path : systemPaths) rules.allow(path, reading);
  for (const std::string& path : graphicsDevices()) rules.allow(path, usingDevices);
  for (const char* variable : variables) {
    const char* list = getenv(variable);
    std::istringstream paths(list ? list : "");
    for (std::string path; std::getline(paths, path, ':');)
      if (path.starts_with('/')) rules.allow(path, reading);
  }
#ifdef VUO_SANITIZED
  rules.allow("/proc/self", reading);
#else
  rules.allow("/proc/self/maps", reading);  // where it has mapped what
#endif
  rules.allow(dynamicLoader(), running);
  rules.allow(order.command[0], running);
  for (const std::string& path : order.readable) rules.allow(path, reading);
  if (!order.ownFolder.empty()) rules.allow(order.ownFolder, filling);
  rules.enforce();
}

}  // namespace vuo
