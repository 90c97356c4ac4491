// A file that a composition names, as a compile found it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/system/FileDescriptor.h"

namespace vuo {

struct FileState {
  std::int64_t modified = 0;  ///< nanoseconds since 1970
  std::int64_t size = 0;
  bool operator==(const FileState&) const = default;
};

struct SourceFile {
  std::string name;  ///< from the composition's folder on
  FileState state;   ///< before it was read
};

/// The state of an open file, once its date lies behind the clock, which takes a few milliseconds
/// at most: whoever writes to it from now on gives it another one.
FileState settledStateOf(const platform::FileDescriptor& file);

/// The file's path, where the name begins in that folder.
std::string pathOf(const std::string& name, const std::string& folder);

/// Whether each of the files still lies in the folder as it was. Asks the file system once for
/// each.
bool areUnchanged(const std::vector<SourceFile>& files, const std::string& folder);

}  // namespace vuo
