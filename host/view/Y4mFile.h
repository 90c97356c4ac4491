#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/FrameRate.h"
#include "platform/system/FileDescriptor.h"

/// A file of YUV4MPEG2 video that is being written, or a named pipe that such video goes through.
/// All operations throw Failure.
class Y4mFile {
 public:
  /// Never over a file that is there already. A pipe may be opened before its reader comes.
  explicit Y4mFile(std::string path);

  const std::string& path() const { return _path; }

  /// Once, before the first frame.
  void begin(std::size_t width, std::size_t height, const FrameRate& rate);
  /// Three planes of full size. A pipe whose reader takes nothing for seconds is a failure.
  void add(const std::vector<std::uint8_t>& planes);

 private:
  void put(const void* bytes, std::size_t size);
  void letStandInGo();

  std::string _path;
  platform::FileDescriptor _standIn;  ///< reads the pipe until somebody does, but takes nothing
  bool _hasWritten = false;
  platform::FileDescriptor _file;
};
