// What it takes to fetch a fresh record, by how many records the cache holds.
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>

#include "Brannow/Brannow.h"
#include "Brannow/MainQueue.h"
#include "Brannow/Notifications.h"
#include "benchmarks/Measured.h"
#include "platform/system/Digest.h"
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
  brannow::postNotification(brannow::NSApplicationWillTerminateNotification);
}

/// Gives the one composition that was compiled so many names more, each with its artefact and its
/// record.
void multiply(const std::string& folder, const std::string& file, int records) {
  namespace fs = std::filesystem;
  const auto saved = VuoCache::copySavedRecords(folder).at(0).record;
  fs::path artefact = *saved->cachedExePath();
  const fs::path cacheFolder = artefact.parent_path().parent_path();
  const auto again = [](const fs::path& original) {  // a file takes only so many links
    const fs::path copy = original.string() + "+";
    fs::copy_file(original, copy);
    fs::last_write_time(copy, fs::last_write_time(original));
    return copy;
  };
  fs::path composition = file;
  platform::PropertyListDictionary all;
  for (int i = 0; i < records; ++i) {
    if (i > 0 && i % 50'000 == 0) composition = again(composition), artefact = again(artefact);
    const std::string name = i == 0 ? file : folder + "/" + std::to_string(i) + ".vuo";
    const fs::path place = cacheFolder / platform::md5Digits(name) / artefact.filename();
    if (i > 0) {
      fs::create_hard_link(composition, name);
      fs::create_directory(place.parent_path());
      fs::create_hard_link(artefact, place);
    }
    saved->setVuoFilePath(std::make_shared<const std::string>(name));
    saved->setCachedExePath(std::make_shared<const std::string>(place));
    all[name] = {std::make_shared<const platform::PropertyListDictionary>(saved->createSnapshot())};
  }
  if (!platform::writePropertyListAtomically(all, cacheFolder / "vuoExeData.plist")) std::abort();
}

void measure(const std::string& folder, const std::string& file, int records) {
  VuoCache::configGlobalCacheWithSavePath(folder);
  brannow::finishQueues();
  const std::string last = folder + "/" + std::to_string(records - 1) + ".vuo";
  if (!VuoCache::isCachedExeAvailableForVuoFile(records == 1 ? file : last)) _exit(1);
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
    multiply(folder, file, records);
    inAnotherProcess([&] { measure(folder, file, records); });
    std::filesystem::remove_all(folder);
  }
}
