// What `launch` and the program vuo-launch say to each other: options, then the program and its
// arguments.
#pragma once

namespace vuo::launcherOption {

constexpr const char* report = "report";  ///< the descriptor for why nothing could be started
constexpr const char* host = "host";      ///< the process that it ends with
constexpr const char* memory = "memory";
constexpr const char* fileSize = "file-size";
constexpr const char* openFiles = "open-files";
constexpr const char* readable = "readable";  ///< any number of times
constexpr const char* copies = "copies";      ///< it may make some of itself
constexpr const char* ownFolder = "own-folder";

}  // namespace vuo::launcherOption
