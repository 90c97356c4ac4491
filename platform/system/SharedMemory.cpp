#include "platform/system/SharedMemory.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <stdexcept>

namespace platform {

SharedMemory::SharedMemory(std::size_t size)
    : _descriptor(memfd_create("vuo picture", MFD_CLOEXEC | MFD_ALLOW_SEALING)), _size(size) {
  if (!_descriptor || ftruncate(_descriptor.get(), static_cast<off_t>(size)) != 0 ||
      fcntl(_descriptor.get(), F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL) != 0)
    throw std::runtime_error("No shared memory for a picture");
  map(_descriptor.get(), PROT_READ | PROT_WRITE);
}

SharedMemory::SharedMemory(FileDescriptor descriptor, std::size_t size) : _size(size) {
  struct stat status {};
  // Reading memory that its maker can cut off would end this process.
  const int seals = fcntl(descriptor.get(), F_GET_SEALS);
  if (seals < 0 || !(seals & F_SEAL_SHRINK) || fstat(descriptor.get(), &status) != 0 ||
      static_cast<std::size_t>(status.st_size) < size)
    throw NoSharedMemory("The descriptor is that of something else than shared memory");
  map(descriptor.get(), PROT_READ);
}

void SharedMemory::map(int descriptor, int protection) {
  _bytes = mmap(nullptr, _size, protection, MAP_SHARED, descriptor, 0);
  if (_bytes == MAP_FAILED) throw std::runtime_error("The shared memory can't be mapped");
}

SharedMemory::~SharedMemory() {
  munmap(_bytes, _size);
}

}  // namespace platform
