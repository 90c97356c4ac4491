#pragma once

#include <cstddef>

#include "platform/system/FileDescriptor.h"

namespace vuo {

/// Memory that two processes map. It has no name and never changes its size.
class SharedMemory {
 public:
  /// New memory, writable. Throws std::runtime_error when there is none.
  explicit SharedMemory(std::size_t size);
  /// Memory that another process made, readable; the descriptor is closed at once. Throws
  /// ProtocolError when it is smaller than `size` or could be made smaller later, and another
  /// std::runtime_error when it can't be mapped.
  SharedMemory(platform::FileDescriptor descriptor, std::size_t size);
  ~SharedMemory();
  SharedMemory(const SharedMemory&) = delete;
  SharedMemory& operator=(const SharedMemory&) = delete;

  void* bytes() const { return _bytes; }
  std::size_t size() const { return _size; }
  /// What another process is given; none for memory that was received or handed over.
  int descriptor() const { return _descriptor.get(); }
  /// Closes the descriptor once the other process has it.
  void handedOver() { _descriptor = platform::FileDescriptor(); }
  /// The same as the caller's own.
  platform::FileDescriptor releaseDescriptor() { return std::move(_descriptor); }

 private:
  void map(int descriptor, int protection);

  platform::FileDescriptor _descriptor;
  std::size_t _size;
  void* _bytes;
};

}  // namespace vuo
