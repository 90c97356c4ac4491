// One cache, many processes, with the real runtime: each works on it as a host would, edited,
// killed and lied to. How much of it is told by BRANNOW_STRESS, the number of edits and of kills.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <random>
#include <regex>

#include "Brannow/VuoCache.h"
#include "TestSupport.h"
#include "platform/system/Alert.h"
#include "platform/system/Digest.h"
#include "platform/system/FileSystem.h"
#include "platform/system/Notifications.h"
#include "platform/system/PropertyList.h"

namespace {

namespace fs = std::filesystem;
using testing::IsEmpty;

int amount(int otherwise) {
  const char* text = std::getenv("BRANNOW_STRESS");
  return text ? std::atoi(text) : otherwise;
}

/// This process never has a cache or a second thread, so that its children can begin with none.
class CacheProcesses : public testing::Test {
 protected:
  using Work = std::function<bool()>;

  static pid_t start(const Work& work) {
    const pid_t child = ::fork();
    if (child != 0) return child;
    platform::setAlertPresenter([](const platform::Alert&) { return std::size_t{0}; });
    const bool succeeded = work();
    std::exit(succeeded && !testing::Test::HasFailure() ? 0 : 1);
  }
  static bool succeeded(pid_t child) {
    int status = 0;
    return ::waitpid(child, &status, 0) == child && status == 0;
  }
  static bool inAnotherProcess(const Work& work) { return succeeded(start(work)); }

  /// A composition whose artefact can be told by its input's name.
  static std::string text(int number) {
    const std::string name = nameOf(number);
    return "digraph G {\nPublishedInputs [type=\"vuo.in\" label=\"PublishedInputs|<" + name + ">" +
           name + "\\l\" _" + name +
           "_type=\"VuoReal\"];\nPublishedOutputs [type=\"vuo.out\" "
           "label=\"PublishedOutputs|<o>o\\l\" _o_type=\"VuoReal\"];\nPublishedInputs:" +
           name + " -> PublishedOutputs:o;\n}\n";
  }
  static std::string nameOf(int number) { return "input" + std::to_string(number); }
  /// As an editor saves: whole, by renaming. No two edits bear the same date.
  void edit(const std::string& file, int number) const {
    platform::writeFileAtomically(file, text(number));
    platform::settledModificationTime(file);
  }
  static int numberIn(const std::string& composition) {
    static const std::regex number("<input([0-9]+)>");
    std::smatch match;
    const std::string contents = platform::readTextFile(composition).value_or("");
    return std::regex_search(contents, match, number) ? std::stoi(match[1]) : -1;
  }
  static bool wasMadeFrom(const VuoCache::Item& item, int number) {
    const auto path = item->cachedExePath() ? item->cachedExePath() : item->cachedDylibPath();
    const auto artefact = path ? platform::readFile(*path, std::size_t{1} << 28) : std::nullopt;
    return artefact && artefact->find(nameOf(number) + '"') != std::string::npos;
  }

  void configure() const { VuoCache::configGlobalCacheWithSavePath(folder.path); }
  static void end() {
    platform::postNotification(platform::NSApplicationWillTerminateNotification);
    platform::finishQueues();
  }
  std::string cacheFolder() const { return VuoCache::folderForSavePath(folder.path); }
  std::string artefactFolder() const {
    return cacheFolder() + "/" + platform::md5Digits(composition);
  }

  /// What neither a record file nor an artefact is.
  std::vector<std::string> leftovers() const {
    std::vector<std::string> found;
    for (const auto& item : fs::recursive_directory_iterator(cacheFolder())) {
      const std::string name = item.path().filename();
      if (!item.is_directory() && name != "vuoExeData.plist" && name != "vuoDylibData.plist" &&
          name != "lumoVuoExe" && name != "dylib.dylib")
        found.push_back(item.path());
    }
    return found;
  }

  void SetUp() override {
    composition = folder.write("a.vuo", text(1'000'000));
    ASSERT_TRUE(inAnotherProcess([&] {  // the settings learn which version of the runtime is here
      configure();
      return true;
    }));
  }

  TestFolder folder;
  std::string composition;
};

TEST_F(CacheProcesses, LoadWhatWasSavedButNothingElseThatARecordNames) {
  ASSERT_TRUE(inAnotherProcess([&] {
    configure();
    const bool compiled = VuoCache::fetchCachedExeForVuoFileSynchronously(composition) &&
                          VuoCache::fetchCachedDylibForVuoFileSynchronously(composition);
    end();
    return compiled;
  }));
  const std::string exes = cacheFolder() + "/vuoExeData.plist";
  const std::string exe = artefactFolder() + "/lumoVuoExe";
  const auto good = platform::readPropertyList(exes).value();
  const auto snapshot = *good.at(composition).dictionary();
  const std::string kept = folder.path + "/kept";
  fs::create_hard_link(exe, kept);
  const std::string foreign = folder.write("foreign", "#!/bin/sh\n");
  const std::string other = folder.write("b.vuo", text(2));
  fs::last_write_time(other, fs::last_write_time(composition));
  fs::create_symlink(foreign, artefactFolder() + "/link");

  using Change = std::function<void(platform::PropertyListDictionary&)>;
  const auto put = [](const char* key, platform::PropertyListValue value) {
    return [=](platform::PropertyListDictionary& record) { record[key] = value; };
  };
  const struct {
    const char* what;
    Change change;
    bool isGood = false;
  } cases[] = {
      {"as it was saved", [](auto&) {}, true},
      {"another program", put("e", {foreign})},
      {"a way out of the folder", put("e", {artefactFolder() + "/../../foreign"})},
      {"a link", put("e", {artefactFolder() + "/link"})},
      {"the library", put("e", {artefactFolder() + "/dylib.dylib"})},
      {"no path", [](auto& record) { record.erase("e"); }},
      {"no text", put("e", {platform::PropertyListOther{"<true/>"}})},
      {"a library as well", put("d", {artefactFolder() + "/dylib.dylib"})},
      {"another composition", put("p", {other})},
  };
  for (const auto& [what, change, isGood] : cases) {
    auto changed = snapshot;
    if (!fs::exists(exe)) fs::create_hard_link(kept, exe);
    change(changed);
    platform::writePropertyListAtomically(
        {{composition,
          {std::make_shared<const platform::PropertyListDictionary>(std::move(changed))}}},
        exes);
    EXPECT_TRUE(inAnotherProcess([&, isGood = isGood] {
      TestLog log;
      configure();
      EXPECT_EQ(VuoCache::isCachedExeAvailableForVuoFile(composition), isGood);
      EXPECT_TRUE(VuoCache::isCachedDylibAvailableForVuoFile(composition));
      platform::finishQueues();
      const auto lines = log.drain();
      const bool isDropped = std::ranges::any_of(
          lines, [](const auto& line) { return line.find("deleting cached item") != line.npos; });
      EXPECT_NE(isDropped, isGood);
      return true;
    })) << what;
    EXPECT_TRUE(fs::exists(foreign) && fs::exists(other)) << what;
  }
}

TEST_F(CacheProcesses, TakeInWhatTheOthersSaved) {
  const std::string odd = folder.write("\x01\xff.vuo", text(3));
  int loaded[2];
  ASSERT_EQ(::pipe(loaded), 0);
  const auto host = [&](const std::string& file) {
    return start([&, file] {
      configure();
      ::close(loaded[0]);
      if (::write(loaded[1], "", 1) != 1) return false;
      const auto item = VuoCache::fetchCachedExeForVuoFileSynchronously(file);
      end();
      return item != nullptr;
    });
  };
  // Each has loaded before any saves.
  const pid_t hosts[] = {host(composition), host(folder.write("b.vuo", text(2))), host(odd)};
  char bytes[3];
  for (char& byte : bytes) ASSERT_EQ(::read(loaded[0], &byte, 1), 1);
  for (const pid_t pid : hosts) EXPECT_TRUE(succeeded(pid));
  std::vector<std::string> paths;
  for (const auto& saved : VuoCache::copySavedRecords(folder.path)) {
    EXPECT_TRUE(saved.isValid && saved.record->upToDate());
    paths.push_back(saved.compositionPath);
  }
  EXPECT_THAT(paths, testing::UnorderedElementsAre(composition, folder.path + "/b.vuo", odd));
  EXPECT_TRUE(inAnotherProcess([&] {
    configure();
    return VuoCache::isCachedExeAvailableForVuoFile(odd);
  }));
}

TEST_F(CacheProcesses, AreNeverServedWhatAnotherMadeFromAnotherModification) {
  int compiled[2], restored[2];
  ASSERT_TRUE(::pipe(compiled) == 0 && ::pipe(restored) == 0);
  char byte = 0;
  const pid_t host = start([&] {
    configure();
    const auto first = VuoCache::fetchCachedExeForVuoFileSynchronously(composition);
    if (::write(compiled[1], "", 1) != 1 || ::read(restored[0], &byte, 1) != 1) return false;
    EXPECT_TRUE(first->upToDate());
    return wasMadeFrom(VuoCache::fetchCachedExeForVuoFileSynchronously(composition), 1'000'000);
  });
  ASSERT_EQ(::read(compiled[0], &byte, 1), 1);
  const auto date = fs::last_write_time(composition);
  edit(composition, 2'000'000);
  EXPECT_TRUE(inAnotherProcess([&] {
    configure();
    return VuoCache::fetchCachedExeForVuoFileSynchronously(composition) != nullptr;
  }));
  edit(composition, 1'000'000);
  fs::last_write_time(composition, date);
  ASSERT_EQ(::write(restored[1], "", 1), 1);
  EXPECT_TRUE(succeeded(host));
}

TEST_F(CacheProcesses, ServeWhatTheFileSaysWhileItIsEdited) {
  const int edits = amount(30);
  std::atomic<bool>* const done = static_cast<std::atomic<bool>*>(
      ::mmap(nullptr, sizeof *done, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  std::vector<pid_t> hosts;
  for (int i = 0; i < 2; ++i) {
    hosts.push_back(start([&] {
      configure();
      for (bool last = false; !last;) {
        last = *done;
        const int before = numberIn(composition);
        const auto item = VuoCache::fetchCachedExeForVuoFileSynchronously(composition);
        if (!item || !item->upToDate() || numberIn(composition) != before) continue;
        // The other host may replace the artefact only with one of a later edit.
        EXPECT_TRUE(wasMadeFrom(item, before) || numberIn(composition) != before) << before;
      }
      end();
      return true;
    }));
  }
  for (int i = 1; i <= edits; ++i) {
    edit(composition, 3'000'000 + i);
    inAnotherProcess([] { return true; });  // as long as it takes to start a process
  }
  *done = true;
  for (const pid_t host : hosts) EXPECT_TRUE(succeeded(host));
  const auto saved = VuoCache::copySavedRecords(folder.path);
  ASSERT_EQ(saved.size(), 1u);
  EXPECT_TRUE(saved[0].isValid && saved[0].record->upToDate());
  EXPECT_TRUE(wasMadeFrom(saved[0].record, 3'000'000 + edits));
  EXPECT_THAT(leftovers(), IsEmpty());
  ::munmap(done, sizeof *done);
}

TEST_F(CacheProcesses, LeaveNothingHalfDoneWhenTheyAreKilled) {
  std::mt19937 random(1);
  std::vector<std::string> files;
  for (int i = 0; i < 4; ++i)
    files.push_back(folder.write(std::to_string(i) + ".vuo", text(4'000'000 + i)));
  for (int kill = amount(10); kill > 0; --kill) {
    edit(files[random() % files.size()], static_cast<int>(5'000'000 + random() % 1'000'000));
    int step[2];
    ASSERT_EQ(::pipe(step), 0);
    const pid_t host = start([&] {
      configure();
      for (;;) {
        for (const auto& file : files) {
          VuoCache::fetchCachedDylibForVuoFileSynchronously(file);
          VuoCache::fetchCachedExeForVuoFileSynchronously(file);
          if (::write(step[1], "", 1) != 1) return false;
          fs::last_write_time(file, fs::file_time_type::clock::now());
        }
        end();
      }
    });
    // Somewhere in the midst of whatever comes after a few steps.
    char byte;
    for (unsigned steps = random() % 8; steps > 0; --steps) ASSERT_EQ(::read(step[0], &byte, 1), 1);
    ::usleep(static_cast<useconds_t>(random() % 20'000));
    ::kill(host, SIGKILL);
    ::waitpid(host, nullptr, 0);
    ::close(step[0]);
    ::close(step[1]);
    EXPECT_TRUE(inAnotherProcess([&] {
      configure();
      platform::finishQueues();
      EXPECT_THAT(leftovers(), IsEmpty());
      for (const auto& file : files) {
        EXPECT_TRUE(
            wasMadeFrom(VuoCache::fetchCachedExeForVuoFileSynchronously(file), numberIn(file)));
        EXPECT_TRUE(
            wasMadeFrom(VuoCache::fetchCachedDylibForVuoFileSynchronously(file), numberIn(file)));
      }
      end();
      return true;
    }));
  }
}

}  // namespace
