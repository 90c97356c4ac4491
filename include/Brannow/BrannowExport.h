// What the library exports. Everything else in it stays inside.
#pragma once

/// Marks what belongs to the public interface.
#define BRANNOW_API [[gnu::visibility("default")]]
