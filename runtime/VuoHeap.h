// Counting of runtime values: images and texts.
#pragma once

#include "runtime/RuntimeExport.h"

/// Adds one reference to a value. A new value has none. Any thread; a null value is ignored.
BRANNOW_RUNTIME void VuoRetain(const void* value);
/// Drops one reference; at zero the value is freed on the calling thread. A null value is ignored.
BRANNOW_RUNTIME void VuoRelease(const void* value);
