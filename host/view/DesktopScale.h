#pragma once

/// How much larger than usual the desktop wants letters and controls on a display: 1 to 4, in
/// quarters, so that letters stay crisp. To be asked while SDL's video is up.
float desktopScale(int display);
