// What it takes to fetch a fresh record, by how many records the cache holds.
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>

#include "Brannow/Brannow.h"
#include "benchmarks/Measured.h"
#include "platform/system/Dispatch.h"
#include "platform/system/Notifications.h"
#include "platform/system/PropertyList.h"

namespace {

constexpr int kFetches = 2000;

void inAnotherProcess(const std::function<void()>& work) {
  const pid_t child = fork();
  if (child == 0) {
    work();
    std::fflush(stdout);
    _exit(0);
  }
  int status = 0;
  if (waitpid(child, &status, 0) != child || status != 0) std::exit(1);
}

void compileAndSave(const std::string& folder, const std::string& file) {
  VuoCache::configGlobalCacheWithSavePath(folder);
  if (!VuoCache::fetchCachedExeForVuoFileSynchronously(file)) _exit(1);
  platform::postNotification(platform::NSApplicationWillTerminateNotification);
}

/// Puts the one record that was saved under so many names more.
void multiply(const std::string& folder, int records) {
  bool written = false;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    const std::string file = entry.path().string();
    const auto saved = file.ends_with("list") ? platform::readPropertyList(file) : std::nullopt;
    if (!saved || saved->empty()) continue;
    auto all = *saved;
    for (int i = 1; i < records; ++i)
      all["/compositions/" + std::to_string(i) + ".vuo"] = saved->begin()->second;
    written = platform::writePropertyListAtomically(all, file);
  }
  if (!written) std::abort();
}

void measure(const std::string& folder, const std::string& file, int records) {
  VuoCache::configGlobalCacheWithSavePath(folder);
  Figures figures{"fetchCachedExeForVuoFileSynchronously:", {}, {}, 5.0};
  for (int round = 0; round < 16; ++round) {
    const double taken = milliseconds([&] {
      for (int i = 0; i < kFetches; ++i)
        if (!VuoCache::fetchCachedExeForVuoFileSynchronously(file)) _exit(1);
    });
    if (round > 0) figures.samples.push_back(1000 * taken / kFetches);
  }
  print({"fetch of a fresh record among " + std::to_string(records), "us"}, figures);
}

}  // namespace

int main() {
  for (const int records : {1, 100'000}) {
    std::string name = (std::filesystem::temp_directory_path() / "brannow-bench-XXXXXX").string();
    const std::string folder = ::mkdtemp(name.data());
    std::filesystem::copy(BENCH_COMPOSITIONS_DIR, folder + "/compositions");
    const std::string file = folder + "/compositions/waves.vuo";
    inAnotherProcess([&] { compileAndSave(folder, file); });
    multiply(folder, records);
    inAnotherProcess([&] { measure(folder, file, records); });
    std::filesystem::remove_all(folder);
  }
}
