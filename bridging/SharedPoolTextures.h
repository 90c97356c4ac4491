#pragma once

/// Has the host's pools make textures, where the runtime offers them, that compositions in
/// processes of their own read without anybody copying them. Any thread, any number of times.
void shareTexturesOfPools();
