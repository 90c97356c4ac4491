#pragma once

#include <cstddef>
#include <stdexcept>

#include "platform/system/FileDescriptor.h"

namespace platform {

/// What was handed over is no memory that can be mapped safely.
struct NoSharedMemory : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// Memory that two processes map. It has no name and never changes its size.
class SharedMemory {
 public:
  /// New memory, writable. Throws std::runtime_error when there is none.
  explicit SharedMemory(std::size_t size);
  /// Memory that another process made, readable; the descriptor is closed at once. Throws
  /// NoSharedMemory when it is smaller than `size` or could be made smaller later, and another
  /// std::runtime_error when it can't be mapped.
  SharedMemory(FileDescriptor descriptor, std::size_t size);
  ~SharedMemory();
  SharedMemory(const SharedMemory&) = delete;
  SharedMemory& operator=(const SharedMemory&) = delete;

  void* bytes() const { return _bytes; }
  std::size_t size() const { return _size; }
  /// What another process is given; none for memory that was received or handed over.
  int descriptor() const { return _descriptor.get(); }
  /// Closes the descriptor once the other process has it.
  void handedOver() { _descriptor = FileDescriptor(); }
  /// The same as the caller's own.
  FileDescriptor releaseDescriptor() { return std::move(_descriptor); }

 private:
  void map(int descriptor, int protection);

  FileDescriptor _descriptor;
  std::size_t _size;
  void* _bytes;
};

}  // namespace platform
