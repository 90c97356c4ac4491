// What is read where text is set.
#pragma once

#include <string>
#include <vector>

namespace vuo {

/// In the folder of the runtime's programs.
constexpr const char* typesetterFileName = "vuo-text.so";

/// Files and folders, beside the system's libraries: the one of our own, the fonts that all users
/// have, and the settings and the cache of fontconfig, which finds them.
std::vector<std::string> filesOfTypesetter();

}  // namespace vuo
