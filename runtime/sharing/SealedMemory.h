// Memory of pictures whose descriptor is that of a file in memory, as software drivers make it.
//
// Such a driver keeps notes of its own in front of the pixels: the size to unmap later, and where
// the pixels begin. Everybody who has the memory can write them, so whoever believed them could be
// made to unmap or to draw anywhere. Here the driver is given a file of this process's own with the
// same notes, and behind them the shared pixels are mapped in the place of the file's.
#pragma once

#include "runtime/sharing/ImageMemory.h"

namespace vuo {

/// The notes in new memory that nobody else has; empty where the memory is of another kind, or the
/// driver keeps none. Throws std::runtime_error when the memory could be made smaller, which would
/// end whoever has it mapped.
std::string headOf(const ImageMemory& memory);

/// What stands in for the memory while a driver imports it.
class StandIn {
 public:
  /// Throws std::runtime_error when the memory is not as it says, or could be made smaller, or
  /// there is none for the notes.
  explicit StandIn(const ImageMemory& memory);
  /// For the driver, which closes it.
  platform::FileDescriptor descriptor() const;
  /// Once the driver has mapped it. Throws std::runtime_error when the driver has not, or the
  /// pixels can't be mapped; nobody must draw then.
  void mapPixels() const;

 private:
  const ImageMemory& _memory;
  platform::FileDescriptor _file;  ///< none where the memory itself is imported
};

}  // namespace vuo
