#include "runtime/SourceFile.h"

#include <sys/stat.h>

#include <algorithm>
#include <ctime>
#include <filesystem>

namespace vuo {
namespace {

std::int64_t nanoseconds(const timespec& time) {
  return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

FileState stateIn(const struct stat& status) {
  return {nanoseconds(status.st_mtim), status.st_size};
}

}  // namespace

FileState settledStateOf(const platform::FileDescriptor& file) {
  constexpr std::int64_t longestTick = 10'000'000;
  for (;;) {
    struct stat status {};
    fstat(file.get(), &status);
    const FileState state = stateIn(status);
    timespec now{}, tick{};
    clock_gettime(CLOCK_REALTIME_COARSE, &now);  // the clock that files get their dates from
    const std::int64_t ahead = state.modified - nanoseconds(now);
    if (ahead < 0 || ahead > longestTick) return state;
    clock_getres(CLOCK_REALTIME_COARSE, &tick);
    clock_nanosleep(CLOCK_MONOTONIC, 0, &tick, nullptr);
  }
}

std::string pathOf(const std::string& name, const std::string& folder) {
  return (std::filesystem::path(folder) / name).string();
}

bool areUnchanged(const std::vector<SourceFile>& files, const std::string& folder) {
  return std::all_of(files.begin(), files.end(), [&](const SourceFile& file) {
    struct stat status {};
    return stat(pathOf(file.name, folder).c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
           stateIn(status) == file.state;
  });
}

}  // namespace vuo
