// What the library exports to the module of the runtime, which it loads into the host's process,
// and to what measures it.
#pragma once

/// No part of the public interface: it may change with every version, and the library gives it a
/// version name of its own that says so.
#define BRANNOW_RUNTIME [[gnu::visibility("default")]]
