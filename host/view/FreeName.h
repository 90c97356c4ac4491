#pragma once

#include <string>

/// The first "name-0001.png", or what else the ending is, that is not taken, in the working folder.
/// The name is that of the composition.
std::string freeName(const std::string& compositionFile, const std::string& ending);
