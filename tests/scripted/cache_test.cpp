#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <latch>
#include <thread>

#include "Brannow/VuoCache.h"
#include "Brannow/ZQVuoAlertPanel.h"
#include "platform/system/Alert.h"
#include "platform/system/Bundle.h"
#include "platform/system/Notifications.h"
#include "platform/system/PropertyList.h"
#include "tests/EmptyCache.h"
#include "tests/TestSupport.h"
#include "tests/scripted/ScriptedRuntime.h"

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

class Cache : public testing::Test {
 protected:
  Cache() {
    scripted::reset();
    useEmptyCache(folder.path);
    platform::setAlertPresenter([this](const platform::Alert& alert) {
      alerts.push_back(alert);
      return std::size_t{0};
    });
    composition = folder.write("clouds.vuo", "digraph {}");
    log.take();
  }
  ~Cache() override { platform::setAlertPresenter({}); }

  std::vector<std::string> compiles() {
    auto calls = scripted::takeCalls();
    std::erase_if(calls, [](const auto& call) { return !call.starts_with("compile"); });
    return calls;
  }

  TestFolder folder;
  TestLog log;
  std::string composition;
  std::vector<platform::Alert> alerts;
};

TEST_F(Cache, CompilesOncePerModificationAndPerKind) {
  const auto dylib = VuoCache::fetchCachedDylibForVuoFileSynchronously(composition);
  const auto exe = VuoCache::fetchCachedExeForVuoFileSynchronously(composition);
  EXPECT_THAT(scripted::takeCalls(),
              ElementsAre(StartsWith("compile clouds.vuo /tmp/"), "linkDylib dylib.dylib 0",
                          StartsWith("compile clouds.vuo /tmp/"), "linkExe lumoVuoExe 2"));
  EXPECT_EQ(*dylib->vuoFilePath(), composition);
  EXPECT_THAT(*dylib->cachedDylibPath(), EndsWith("/dylib.dylib"));
  EXPECT_FALSE(dylib->cachedExePath() || dylib->appPathWhenExeCompiled());
  EXPECT_THAT(*exe->cachedExePath(), EndsWith("/lumoVuoExe"));
  EXPECT_EQ(*exe->appPathWhenExeCompiled(), platform::mainBundlePath());
  EXPECT_FALSE(exe->cachedDylibPath());
  EXPECT_TRUE(exe->isValid() && dylib->isValid());

  EXPECT_NE(VuoCache::fetchCachedDylibForVuoFileSynchronously(composition), dylib);
  EXPECT_THAT(compiles(), IsEmpty());

  timespec time = modificationTimeOf(composition);
  const timespec before = time;
  time.tv_nsec ^= 1;
  setModificationTime(composition, time);
  EXPECT_FALSE(VuoCache::isCachedDylibAvailableForVuoFile(composition));
  EXPECT_TRUE(VuoCache::fetchCachedDylibForVuoFileSynchronously(composition)->upToDate());
  EXPECT_FALSE(dylib->upToDate());
  setModificationTime(composition, before);
  EXPECT_TRUE(dylib->upToDate());
  EXPECT_TRUE(VuoCache::fetchCachedDylibForVuoFileSynchronously(composition)->upToDate());
  EXPECT_EQ(compiles().size(), 2u);
}

TEST_F(Cache, ServesQueuedFetchesInOrderOnTheMainQueue) {
  std::vector<std::string> order;
  std::vector<VuoCache::Item> items;
  const auto main = std::this_thread::get_id();
  const auto note = [&](const char* name) {
    return [&, name](VuoCache::Item item) {
      EXPECT_EQ(std::this_thread::get_id(), main);
      order.push_back(name);
      items.push_back(item);
    };
  };
  VuoCache::fetchCachedExeForVuoFile(composition, note("first"));
  VuoCache::fetchCachedExeForVuoFile(composition, note("second"));
  VuoCache::fetchCachedDylibForVuoFile(composition, note("dylib"));
  VuoCache::fetchCachedExeForVuoFile(composition, nullptr);
  VuoCache::fetchCachedExeForVuoFile(composition, note("third"));
  EXPECT_THAT(order, IsEmpty());
  serveMainQueueUntil([&] { return order.size() == 4; });
  EXPECT_THAT(order, ElementsAre("first", "second", "dylib", "third"));
  EXPECT_EQ(compiles().size(), 2u);
  EXPECT_NE(items[0], items[1]);
  EXPECT_EQ(*items[0]->cachedExePath(), *items[1]->cachedExePath());
}

TEST_F(Cache, TellsTheUserAboutEveryFailedCompile) {
  scripted::script().throwing = {"compile"};
  EXPECT_FALSE(VuoCache::fetchCachedExeForVuoFileSynchronously(composition));
  scripted::script().throwsInt = true;
  bool called = false;
  VuoCache::fetchCachedDylibForVuoFile(composition, [&](VuoCache::Item item) {
    called = true;
    EXPECT_FALSE(item);
  });
  serveMainQueueUntil([&] { return called && alerts.size() == 2; });
  EXPECT_EQ(alerts[0].messageText, "Problem loading composition");
  EXPECT_EQ(alerts[0].informativeText,
            "There was a problem loading the composition clouds.vuo.  scripted failure of compile");
  EXPECT_THAT(alerts[0].buttons, ElementsAre("Whoops!"));
  EXPECT_EQ(alerts[1].informativeText, "There was a problem loading the composition clouds.vuo.  ");
  EXPECT_THAT(log.take(), IsEmpty());

  scripted::script().throwing = {};
  EXPECT_TRUE(VuoCache::fetchCachedExeForVuoFileSynchronously(composition));
}

TEST_F(Cache, RefusesWhatIsNotThere) {
  int answers = 0;
  const auto none = [&](VuoCache::Item item) {
    EXPECT_FALSE(item);
    ++answers;
  };
  VuoCache::fetchCachedExeForVuoFile("/nowhere/x.vuo", none);
  VuoCache::fetchCachedExeForVuoFile(std::nullopt, none);
  EXPECT_EQ(answers, 0);
  serveMainQueueUntil([&] { return answers == 2; });
  EXPECT_THAT(log.take(),
              ElementsAre("\t\terr: nil path or no file, -[VuoCache "
                          "fetchCachedExeForVuoFile:callBlockWhenDone:].  /nowhere/x.vuo"));
  EXPECT_FALSE(VuoCache::fetchCachedDylibForVuoFileSynchronously(std::nullopt));
  EXPECT_THAT(log.take(), IsEmpty());
  EXPECT_FALSE(VuoCache::isCachedDylibAvailableForVuoFile(std::nullopt));
  EXPECT_THAT(log.take(), ElementsAre("\t\terr: bailing, passed path was nil, -[VuoCache "
                                      "isCachedDylibAvailableForVuoFile:]"));
  EXPECT_THAT(alerts, IsEmpty());
}

TEST_F(Cache, KeepsQueuedWorkThroughAClear) {
  std::latch compiling(1), cleared(1);
  scripted::script().during["compile"] = [&, first = true]() mutable {
    if (!std::exchange(first, false)) return;
    compiling.count_down();
    cleared.wait();
  };
  std::vector<int> answers;
  for (int i = 0; i < 3; ++i) {
    VuoCache::fetchCachedExeForVuoFile(composition, [&answers, i](VuoCache::Item item) {
      EXPECT_TRUE(item);
      answers.push_back(i);
    });
  }
  compiling.wait();
  VuoCache::clearCache();
  cleared.count_down();
  serveMainQueueUntil([&] { return answers.size() == 3; });
  EXPECT_THAT(answers, ElementsAre(0, 1, 2));
  EXPECT_FALSE(VuoCache::isCachedExeAvailableForVuoFile(composition));
}

TEST_F(Cache, CompilesAgainWhatWasEditedMeanwhile) {
  int edits = 1;
  scripted::script().during["compile"] = [&] {
    timespec time = modificationTimeOf(composition);
    time.tv_nsec ^= 1;
    if (edits-- > 0) setModificationTime(composition, time);
  };
  EXPECT_TRUE(VuoCache::fetchCachedExeForVuoFileSynchronously(composition)->upToDate());
  EXPECT_EQ(compiles().size(), 2u);
  edits = 1000;
  EXPECT_FALSE(VuoCache::fetchCachedDylibForVuoFileSynchronously(composition)->upToDate());
}

TEST_F(Cache, SerialisesCompilesOfAllThreadsAndSavesAfterThem) {
  std::atomic<int> inside{0}, most{0};
  std::latch compiling(1), posted(1);
  scripted::script().during["compile"] = [&] { most = std::max(most.load(), ++inside); };
  scripted::script().during["linkExe"] = [&] { --inside; };
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back(
        [&] { EXPECT_TRUE(VuoCache::fetchCachedExeForVuoFileSynchronously(composition)); });
  }
  std::vector<std::string> files;
  for (int i = 0; i < 8; ++i) files.push_back(folder.write(std::to_string(i) + ".vuo", ""));
  std::vector<int> answers;
  for (int i = 0; i < 64; ++i) {
    VuoCache::fetchCachedExeForVuoFile(files[i % 8], [&, i](VuoCache::Item item) {
      EXPECT_TRUE(item);
      answers.push_back(i);
    });
  }
  serveMainQueueUntil([&] { return answers.size() == 64; });
  for (auto& thread : threads) thread.join();
  EXPECT_TRUE(std::is_sorted(answers.begin(), answers.end()));
  EXPECT_EQ(most, 1);
  scripted::takeCalls();

  // The application ends while a file is being compiled: the record of that one is saved too late.
  scripted::script().during["compile"] = [&] {
    compiling.count_down();
    posted.wait();
  };
  timespec time = modificationTimeOf(composition);
  time.tv_nsec ^= 1;
  setModificationTime(composition, time);
  std::thread compiler([&] { VuoCache::fetchCachedExeForVuoFileSynchronously(composition); });
  compiling.wait();
  std::thread host(
      [] { platform::postNotification(platform::NSApplicationWillTerminateNotification); });
  posted.count_down();
  host.join();
  compiler.join();
  const auto records = platform::readPropertyList(folder.path + "/VuoCache/vuoExeData.plist");
  ASSERT_TRUE(records);
  EXPECT_EQ(records->size(), 9u);
}

TEST_F(Cache, WritesItsRecordsWhenTheApplicationEnds) {
  const auto exe = VuoCache::fetchCachedExeForVuoFileSynchronously(composition);
  platform::postNotification(platform::NSApplicationWillTerminateNotification);
  const auto dylibs = platform::readPropertyList(folder.path + "/VuoCache/vuoDylibData.plist");
  const auto exes = platform::readPropertyList(folder.path + "/VuoCache/vuoExeData.plist");
  ASSERT_TRUE(dylibs && exes);
  EXPECT_THAT(*dylibs, IsEmpty());
  ASSERT_TRUE(exes->contains(composition));
  VuoCacheItem loaded;
  loaded.loadSnapshot(exes->at(composition).dictionary().get());
  EXPECT_EQ(loaded.description(), exe->description());
  EXPECT_EQ(loaded.modDate(), exe->modDate());
  EXPECT_TRUE(loaded.isValid() && loaded.upToDate());
}

TEST(CacheItem, ReadsWhateverASnapshotHolds) {
  using platform::PropertyListValue;
  const platform::PropertyListDate second{std::chrono::seconds(1234)};
  VuoCacheItem item;
  platform::PropertyListDictionary snapshot{{"p", {std::string("a/b.vuo")}},
                                            {"m", {second}},
                                            {"e", {platform::PropertyListOther{}}},
                                            {"d", {std::string("lib")}}};
  item.loadSnapshot(&snapshot);
  item.loadSnapshot(nullptr);
  EXPECT_EQ(item.modDate(), platform::FileTime(second));
  EXPECT_FALSE(item.cachedExePath());
  EXPECT_EQ(item.description(), "<VuoCacheItem D b.vuo..., lib>");
  EXPECT_EQ(item.createSnapshot().at("m").string(), "1234.000000000");
  for (const char* text :
       {"", "12", "12.5", "x.000000000", "1.00000000x", "99999999999.000000000"}) {
    snapshot["m"] = PropertyListValue{std::string(text)};
    item.loadSnapshot(&snapshot);
    EXPECT_FALSE(item.modDate()) << text;
  }
  snapshot.clear();
  item.loadSnapshot(&snapshot);
  EXPECT_TRUE(item.createSnapshot().empty());
}

TEST(CacheDeathTest, LogsEveryCallWithoutACache) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  const auto callAll = [] {
    TestLog log;
    VuoCache::clearCache();
    VuoCache::isCachedDylibAvailableForVuoFile("x");
    VuoCache::isCachedExeAvailableForVuoFile("x");
    VuoCache::fetchCachedDylibForVuoFileSynchronously("x");
    VuoCache::fetchCachedExeForVuoFileSynchronously("x");
    VuoCache::fetchCachedDylibForVuoFile("x", nullptr);
    VuoCache::fetchCachedExeForVuoFile("x", nullptr);
    VuoCache::configGlobalCacheWithSavePath(std::nullopt);
    const std::string nil = "\t\terr: can't call, main cache nil, +[VuoCache ";
    const std::vector<std::string> expected{
        nil + "clearCache]",
        nil + "isCachedDylibAvailableForVuoFile:]",
        nil + "isCachedExeAvailableForVuoFile:]",
        nil + "fetchCachedDylibForVuoFileSynchronously:]",
        nil + "fetchCachedExeForVuoFileSynchronously:]",
        nil + "fetchCachedDylibForVuoFile:callBlockWhenDone:]",
        nil + "fetchCachedExeForVuoFile:callBlockWhenDone:]",
        "+[VuoCache configGlobalCacheWithSavePath:]",
        "\t\terr: can't config cache on a nil path, +[VuoCache configGlobalCacheWithSavePath:]"};
    std::exit(log.take() == expected ? 0 : 1);
  };
  EXPECT_EXIT(callAll(), testing::ExitedWithCode(0), "");
}

TEST(AlertPanel, ShowsTheButtonsThatHaveTitles) {
  platform::Alert shown;
  platform::setAlertPresenter([&](const platform::Alert& alert) {
    shown = alert;
    return std::size_t{1};
  });
  EXPECT_EQ(ZQVuoRunAlertPanel("title", "message", "", "second", "third"), 1001);
  EXPECT_EQ(shown.messageText, "title");
  EXPECT_EQ(shown.informativeText, "message");
  EXPECT_THAT(shown.buttons, ElementsAre("second", "third"));
  platform::setAlertPresenter({});
}

}  // namespace
