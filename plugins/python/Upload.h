#pragma once

#include <cstddef>
#include <cstdint>

#include "Brannow/ZQBuffer.h"

namespace python {

/// A buffer with the pixels, which are read where they lie: four bytes each, rows from the top
/// without gaps. Finished on the GPU when it returns. Null when the GPU refuses. Any thread.
ZQBufferRef uploaded(const std::uint8_t* pixels, std::size_t width, std::size_t height);

}  // namespace python
