#pragma once

#include <cstddef>
#include <memory>

#include "platform/system/SharedMemory.h"
#include "runtime/RuntimeExport.h"
#include "runtime/VuoImage.h"

namespace vuo {

/// How many bytes the pixels take. Throws std::runtime_error for a size that no picture
/// may have.
BRANNOW_RUNTIME std::size_t pixelBytes(std::uint64_t width, std::uint64_t height);

/// The image's pixels as they are now. Reads the texture back on the calling thread. Throws
/// std::runtime_error when that fails.
std::unique_ptr<platform::SharedMemory> sharedPixelsOf(VuoImage image);

}  // namespace vuo
