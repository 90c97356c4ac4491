// Counting of runtime values: images and texts.
#pragma once

/// Adds one reference to a value. A new value has none. Any thread; a null value is ignored.
void VuoRetain(const void* value);
/// Drops one reference; at zero the value is freed on the calling thread. A null value is ignored.
void VuoRelease(const void* value);
