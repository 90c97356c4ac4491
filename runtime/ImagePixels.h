#pragma once

#include <cstddef>
#include <memory>

#include "runtime/RuntimeExport.h"
#include "runtime/VuoImage.h"
#include "runtime/transport/SharedMemory.h"

namespace vuo {

/// How many bytes the pixels take. Throws std::runtime_error for a size that no picture
/// may have.
BRANNOW_RUNTIME std::size_t pixelBytes(std::uint64_t width, std::uint64_t height);

/// The pixels that VuoImage_getInterprocessJson put behind the value; null for other values. They
/// live as long as the value.
const SharedMemory* pixelsOfImageValue(json_object* value);

}  // namespace vuo
