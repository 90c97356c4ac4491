#pragma once

/// Prints whether the processes of compositions can be contained on this system, and what is
/// missing where they can't. 0 when nothing is.
int tellContainment();
