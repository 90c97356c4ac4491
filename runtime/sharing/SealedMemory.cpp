#include "runtime/sharing/SealedMemory.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace vuo {
namespace {

struct Range {
  std::uintptr_t begin = 0, end = 0;
};

std::size_t pageSize() {
  return static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

struct stat statusOf(const platform::FileDescriptor& file) {
  struct stat status {};
  if (fstat(file.get(), &status) != 0) throw std::runtime_error("No picture's memory");
  return status;
}

/// Whether it is a file in memory; one that keeps its size.
bool isFileInMemory(const platform::FileDescriptor& file) {
  const int seals = fcntl(file.get(), F_GET_SEALS);
  if (seals >= 0 && (seals & F_SEAL_SHRINK) == 0)
    throw std::runtime_error("the driver's shared memory could be cut off");
  return seals >= 0;
}

/// Where this process has mapped the file. Nobody else maps or unmaps it.
Range mappingOf(const platform::FileDescriptor& file) {
  const struct stat status = statusOf(file);
  const std::string itsNode = " " + std::to_string(status.st_ino) + " ";
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    if (line.find(itsNode) == line.npos) continue;
    std::istringstream words(line);
    Range range;
    char separator = 0;
    std::string rights, device;
    std::uint64_t offset = 0, node = 0;
    words >> std::hex >> range.begin >> separator >> range.end >> rights >> offset >> device >>
        std::dec >> node;
    if (words && node == status.st_ino && offset == 0) {
      unsigned long major = 0, minor = 0;
      std::istringstream(device) >> std::hex >> major >> separator >> minor;
      if (makedev(major, minor) == status.st_dev) return range;
    }
  }
  throw std::runtime_error("the driver does not map a shared picture as a whole");
}

}  // namespace

std::string headOf(const ImageMemory& memory) {
  if (!isFileInMemory(memory.descriptor)) return {};
  std::string head(pageSize(), '\0');
  if (pread(memory.descriptor.get(), head.data(), head.size(), 0) !=
      static_cast<ssize_t>(head.size()))
    throw std::runtime_error("The memory of a shared picture can't be read");
  const bool isEmpty = std::all_of(head.begin(), head.end(), [](char byte) { return byte == 0; });
  return isEmpty ? std::string() : head;
}

StandIn::StandIn(const ImageMemory& memory) : _memory(memory) {
  if (!isFileInMemory(memory.descriptor)) return;
  const struct stat status = statusOf(memory.descriptor);
  if (static_cast<std::uint64_t>(status.st_size) < memory.head.size() + memory.size ||
      memory.head.size() % pageSize() != 0)
    throw std::runtime_error("The memory of a shared picture is too small");
  if (memory.head.empty()) return;
  _file = platform::FileDescriptor(memfd_create("vuo picture's head", MFD_CLOEXEC));
  if (!_file || ftruncate(_file.get(), status.st_size) != 0 ||
      pwrite(_file.get(), memory.head.data(), memory.head.size(), 0) !=
          static_cast<ssize_t>(memory.head.size()))
    throw std::runtime_error("There is no memory for a shared picture");
}

platform::FileDescriptor StandIn::descriptor() const {
  const auto& file = _file ? _file : _memory.descriptor;
  platform::FileDescriptor copy(fcntl(file.get(), F_DUPFD_CLOEXEC, 0));
  if (!copy) throw std::runtime_error("There is no descriptor left for a shared picture");
  return copy;
}

void StandIn::mapPixels() const {
  if (!_file) return;
  const Range mapped = mappingOf(_file);
  const std::size_t head = _memory.head.size();
  const std::size_t length = mapped.end - mapped.begin - head;
  if (mapped.end - mapped.begin < head + _memory.size ||
      mmap(reinterpret_cast<void*>(mapped.begin + head), length, PROT_READ | PROT_WRITE,
           MAP_SHARED | MAP_FIXED, _memory.descriptor.get(),
           static_cast<off_t>(head)) == MAP_FAILED)
    throw std::runtime_error("The pixels of a shared picture can't be mapped");
}

}  // namespace vuo
