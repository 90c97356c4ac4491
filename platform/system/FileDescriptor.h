#pragma once

#include <unistd.h>

#include <utility>

namespace platform {

/// Owns a file descriptor, or none.
class FileDescriptor {
 public:
  FileDescriptor() = default;
  explicit FileDescriptor(int descriptor) : _descriptor(descriptor) {}
  FileDescriptor(FileDescriptor&& other) noexcept : _descriptor(other.release()) {}
  ~FileDescriptor() {
    if (_descriptor >= 0) ::close(_descriptor);
  }
  FileDescriptor& operator=(FileDescriptor other) noexcept {
    std::swap(_descriptor, other._descriptor);
    return *this;
  }

  int get() const { return _descriptor; }
  int release() { return std::exchange(_descriptor, -1); }
  explicit operator bool() const { return _descriptor >= 0; }

 private:
  int _descriptor = -1;
};

}  // namespace platform
