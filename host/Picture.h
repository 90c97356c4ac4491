// Pictures in PNG files.
#pragma once

#include <optional>
#include <string>

#include "Brannow/ZQBufferPool.h"

namespace host {

/// Reads a PNG file of any kind as 8-bit RGBA, alpha not multiplied in. None on failure; `error`
/// then says which file and what is wrong.
std::optional<ZQPixels> readPicture(const std::string& path, std::string& error);

/// Writes an 8-bit RGBA PNG file that appears at `path` whole or not at all. False on failure, with
/// the reason in `error`; a previous file then stays.
bool writePicture(const ZQPixels& pixels, const std::string& path, std::string& error);

}  // namespace host
