// Pictures on the GPU as arrays.
#pragma once

#include <pybind11/numpy.h>

#include "Brannow/ZQBuffer.h"

namespace python {

/// An array of height by width by 4 that owns the memory into which the pixels were read, rows from
/// the top; None where they can't be read. Memory of arrays that have gone is used again.
pybind11::object arrayOf(const ZQBufferRef& buffer);

}  // namespace python
