// How runtime values are allocated.
#pragma once

#include <cstddef>

namespace vuo {

/// Memory for a value that VuoRetain and VuoRelease count, beginning without references. `destroy`
/// runs with the value right before its memory goes.
void* newCounted(std::size_t size, void (*destroy)(void* value));

}  // namespace vuo
