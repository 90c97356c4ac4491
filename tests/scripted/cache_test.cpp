#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
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
#include "tests/Waiting.h"
#include "tests/scripted/ScriptedRuntime.h"

using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
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
    log.drain();
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
  VuoCache::globalCache()->setExecutableName("");
  VuoCache::globalCache()->setExecutableName(std::nullopt);
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

  // What callers do with their copies, the compiled one and later ones, is their own affair. So is
  // what becomes of the artefact: only the composition's date counts.
  dylib->setVuoFilePath(nullptr);
  VuoCache::fetchCachedDylibForVuoFileSynchronously(composition)->setModDate(std::nullopt);
  std::filesystem::remove(*dylib->cachedDylibPath());
  const auto later = VuoCache::fetchCachedDylibForVuoFileSynchronously(composition);
  EXPECT_EQ(*later->vuoFilePath(), composition);
  EXPECT_TRUE(later->upToDate() && !later->isValid());
  EXPECT_TRUE(VuoCache::isCachedDylibAvailableForVuoFile(composition));
  EXPECT_THAT(compiles(), IsEmpty());
  dylib->setVuoFilePath(later->vuoFilePath());

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
  EXPECT_THAT(alerts, IsEmpty());  // they are for the main queue
  serveMainQueueUntil([&] { return called && alerts.size() == 2; });
  EXPECT_EQ(alerts[0].messageText, "Problem loading composition");
  EXPECT_EQ(alerts[0].informativeText,
            "There was a problem loading the composition clouds.vuo.  scripted failure of compile");
  EXPECT_THAT(alerts[0].buttons, ElementsAre("Whoops!"));
  EXPECT_EQ(alerts[1].informativeText, "There was a problem loading the composition clouds.vuo.  ");
  EXPECT_THAT(log.drain(), IsEmpty());

  scripted::script().throwing = {};
  EXPECT_TRUE(VuoCache::fetchCachedExeForVuoFileSynchronously(composition));

  // A compile that fails leaves the older record in place.
  const timespec good = modificationTimeOf(composition);
  timespec bad = good;
  bad.tv_nsec ^= 1;
  setModificationTime(composition, bad);
  scripted::script().throwing = {"linkExe"};
  EXPECT_FALSE(VuoCache::fetchCachedExeForVuoFileSynchronously(composition));
  setModificationTime(composition, good);
  EXPECT_TRUE(VuoCache::isCachedExeAvailableForVuoFile(composition));
  serveMainQueueUntil([&] { return alerts.size() == 3; });
}

TEST_F(Cache, RefusesWhatIsNotThere) {
  int answers = 0;
  const auto none = [&](VuoCache::Item item) {
    EXPECT_FALSE(item);
    ++answers;
  };
  VuoCache::fetchCachedExeForVuoFile("/nowhere/x.vuo", none);
  VuoCache::fetchCachedExeForVuoFile(std::nullopt, none);
  VuoCache::fetchCachedDylibForVuoFile("/nowhere/x.vuo", none);
  EXPECT_EQ(answers, 0);
  serveMainQueueUntil([&] { return answers == 3; });
  EXPECT_THAT(log.drain(),
              ElementsAre("\t\terr: nil path or no file, -[VuoCache "
                          "fetchCachedExeForVuoFile:callBlockWhenDone:].  /nowhere/x.vuo",
                          "\t\terr: nil path or no file, -[VuoCache "
                          "fetchCachedDylibForVuoFile:callBlockWhenDone:].  /nowhere/x.vuo"));
  EXPECT_FALSE(VuoCache::fetchCachedDylibForVuoFileSynchronously(std::nullopt));
  EXPECT_THAT(log.drain(), IsEmpty());
  EXPECT_FALSE(VuoCache::isCachedDylibAvailableForVuoFile(std::nullopt));
  EXPECT_FALSE(VuoCache::isCachedExeAvailableForVuoFile(std::nullopt));
  EXPECT_THAT(log.drain(), ElementsAre("\t\terr: bailing, passed path was nil, -[VuoCache "
                                       "isCachedDylibAvailableForVuoFile:]",
                                       "\t\terr: bailing, passed path was nil, -[VuoCache "
                                       "isCachedExeAvailableForVuoFile:]"));
  EXPECT_THAT(alerts, IsEmpty());
}

TEST_F(Cache, KeepsQueuedWorkThroughAClear) {
  std::latch compiling(1), cleared(1);
  scripted::script().duringNext["compile"] = [&] {
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
  EXPECT_FALSE(VuoCache::isCachedExeAvailableForVuoFile(composition));
  // The new cache compiles the same file into the same folder, but not while the old one does.
  bool answered = false;
  VuoCache::fetchCachedExeForVuoFile(composition, [&](VuoCache::Item item) {
    EXPECT_TRUE(item);
    answered = true;
  });
  waitUntilOthersSleep();
  EXPECT_EQ(compiles().size(), 1u);
  cleared.count_down();
  serveMainQueueUntil([&] { return answers.size() == 3 && answered; });
  EXPECT_THAT(answers, ElementsAre(0, 1, 2));
  EXPECT_TRUE(VuoCache::isCachedExeAvailableForVuoFile(composition));
}

TEST_F(Cache, ServesWhatIsFreshWhileACompileHangsAndEndsWithoutTheRest) {
  const std::string endless = folder.write("endless.vuo", "digraph {}");
  const std::string later = folder.write("later.vuo", "digraph {}");
  VuoCache::fetchCachedExeForVuoFileSynchronously(composition);
  std::latch compiling(1), ended(1);
  scripted::script().duringNext["compile"] = [&] {
    compiling.count_down();
    ended.wait();
  };
  std::vector<std::string> answers;
  const auto fetch = [&](const std::string& name, const std::string& file) {
    VuoCache::fetchCachedExeForVuoFile(file, [&answers, name](VuoCache::Item item) {
      answers.push_back(name + (item ? "" : " none"));
    });
  };
  fetch("endless", endless);
  compiling.wait();
  fetch("fresh", composition);
  serveMainQueueUntil([&] { return !answers.empty(); });
  EXPECT_THAT(answers, ElementsAre("fresh"));

  // An edited file waits, and a request for what it was before does not overtake it.
  const timespec before = modificationTimeOf(composition);
  setModificationTime(composition, {before.tv_sec, before.tv_nsec ^ 1});
  fetch("edited", composition);
  setModificationTime(composition, before);
  fetch("behind", composition);
  fetch("later", later);
  std::thread sideways([&] { VuoCache::fetchCachedDylibForVuoFileSynchronously(later); });
  std::thread host(
      [] { platform::postNotification(platform::NSApplicationWillTerminateNotification); });
  const std::string saved = folder.path + "/VuoCache/vuoExeData.plist";
  waitUntilOthersSleep();
  EXPECT_FALSE(std::filesystem::exists(saved));
  ended.count_down();
  host.join();
  EXPECT_TRUE(std::filesystem::exists(saved));
  sideways.join();
  serveMainQueueUntil([&] { return answers.size() == 5; });
  EXPECT_THAT(answers, ElementsAre("fresh", "endless", "edited", "behind", "later none"));
}

TEST_F(Cache, ForgetsWhatCanNotBeStarted) {
  const auto first = VuoCache::fetchCachedExeForVuoFileSynchronously(composition);
  VuoCache::discardCachedItem(nullptr);
  VuoCache::discardCachedItem(first);
  EXPECT_FALSE(std::filesystem::exists(*first->cachedExePath()));
  EXPECT_FALSE(VuoCache::isCachedExeAvailableForVuoFile(composition));
  const timespec before = modificationTimeOf(composition);
  setModificationTime(composition, {before.tv_sec, before.tv_nsec ^ 1});
  const auto second = VuoCache::fetchCachedExeForVuoFileSynchronously(composition);
  VuoCache::discardCachedItem(first);  // is not what is there any more
  EXPECT_TRUE(std::filesystem::exists(*second->cachedExePath()));
  EXPECT_TRUE(VuoCache::isCachedExeAvailableForVuoFile(composition));

  // Another process may replace an artefact. Its date says what it was made from.
  setModificationTime(*second->cachedExePath(), before);
  EXPECT_FALSE(VuoCache::isCachedExeAvailableForVuoFile(composition));
}

TEST_F(Cache, NamesExecutablesOnlyByPlainNames) {
  const auto cache = VuoCache::globalCache();
  for (const std::string& name :
       {std::string("../x"), std::string("/bin/x"), std::string("."), std::string(".."),
        std::string("dylib.dylib"), std::string("a\0b", 3), std::string(300, 'x')}) {
    cache->setExecutableName(name);
    EXPECT_THAT(log.drain(), ElementsAre(EndsWith("-[VuoCache setExecutableName:]"))) << name;
  }
  cache->setExecutableName("a.player");
  const auto exe = VuoCache::fetchCachedExeForVuoFileSynchronously(composition);
  EXPECT_THAT(*exe->cachedExePath(), EndsWith("/a.player"));

  // What a killed writer left goes with the next compile; nothing else does.
  const std::string beside = std::filesystem::path(*exe->cachedExePath()).parent_path();
  for (const char* name : {"/a.player.a1B2c3", "/a.player.a1B2c", "/a.abcdef", "/dylib.dylib"})
    std::ofstream(beside + name) << "half";
  setModificationTime(composition, {1'000'000'000, 5});
  VuoCache::fetchCachedExeForVuoFileSynchronously(composition);
  std::vector<std::string> names;
  for (const auto& item : std::filesystem::directory_iterator(beside))
    names.push_back(item.path().filename());
  EXPECT_THAT(names, testing::UnorderedElementsAre("a.player", "a.player.a1B2c", "a.abcdef",
                                                   "dylib.dylib"));
}

TEST_F(Cache, WorksWithoutAFolderThatOthersMayChange) {
  const std::string shared = folder.path + "/VuoCache";
  std::filesystem::create_directory(shared);
  std::filesystem::permissions(shared, std::filesystem::perms::all);
  const auto exe = VuoCache::fetchCachedExeForVuoFileSynchronously(composition);
  EXPECT_TRUE(exe->isValid() && exe->upToDate());
  EXPECT_THAT(*exe->cachedExePath(), testing::Not(StartsWith(folder.path)));
  EXPECT_TRUE(VuoCache::isCachedExeAvailableForVuoFile(composition));
  platform::postNotification(platform::NSApplicationWillTerminateNotification);
  EXPECT_TRUE(std::filesystem::is_empty(shared));
  EXPECT_THAT(log.drain(),
              ElementsAre("\t\terr: " + shared +
                          " belongs to somebody else or others may write to it, keeping "
                          "nothing there, -[VuoCache _cacheFolder]"));
  std::filesystem::permissions(shared, std::filesystem::perms::owner_all);
  scripted::takeCalls();
  EXPECT_TRUE(VuoCache::fetchCachedDylibForVuoFileSynchronously(composition));
  EXPECT_FALSE(std::filesystem::is_empty(shared));

  platform::postNotification(platform::NSApplicationWillTerminateNotification);
  const auto areValid = [&] { return VuoCache::copySavedRecords(folder.path).front().isValid; };
  EXPECT_TRUE(areValid());
  std::filesystem::permissions(shared, std::filesystem::perms::all);
  EXPECT_FALSE(areValid());
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
  compiles();
  scripted::script().during["linkExe"] = [&] { std::filesystem::remove(composition); };
  EXPECT_FALSE(VuoCache::fetchCachedExeForVuoFileSynchronously(composition)->modDate());
  EXPECT_EQ(compiles().size(), 1u);
}

TEST_F(Cache, CompilesOnceWhatWasEditedBeforeItsTurn) {
  std::latch compiling(1), edited(1);
  scripted::script().duringNext["compile"] = [&] {
    compiling.count_down();
    edited.wait();
  };
  const std::string other = folder.write("other.vuo", "digraph {}");
  std::thread holder([&] { VuoCache::fetchCachedExeForVuoFileSynchronously(other); });
  compiling.wait();
  std::thread waiter([&] {
    EXPECT_TRUE(VuoCache::fetchCachedExeForVuoFileSynchronously(composition)->upToDate());
  });
  waitUntilOthersSleep();
  timespec time = modificationTimeOf(composition);
  time.tv_nsec ^= 1;
  setModificationTime(composition, time);
  edited.count_down();
  holder.join();
  waiter.join();
  EXPECT_EQ(compiles().size(), 2u);
}

TEST_F(Cache, IsConfiguredOnceAndClearsTheFolderThatItKeeps) {
  VuoCache::configGlobalCacheWithSavePath("/elsewhere");
  EXPECT_THAT(log.drain(), ElementsAre("+[VuoCache configGlobalCacheWithSavePath:]",
                                       "\t\terr: cache already exists, bailing, +[VuoCache "
                                       "configGlobalCacheWithSavePath:]"));
  EXPECT_EQ(VuoCache::globalCache()->savePath(), folder.path);

  VuoCache::globalCache()->setSavePath("~/kept/");
  const std::string kept = folder.path + "/kept/VuoCache";
  platform::postNotification(platform::NSApplicationWillTerminateNotification);
  EXPECT_TRUE(platform::readPropertyList(kept + "/vuoDylibData.plist"));
  const auto exe = VuoCache::fetchCachedExeForVuoFileSynchronously(composition);
  EXPECT_THAT(*exe->cachedExePath(), StartsWith(folder.path + "/kept"));
  EXPECT_EQ(std::filesystem::status(kept).permissions(), std::filesystem::perms::owner_all);
  log.drain();
  VuoCache::clearCache();
  EXPECT_FALSE(std::filesystem::exists(kept));
  EXPECT_FALSE(VuoCache::isCachedExeAvailableForVuoFile(composition));
  EXPECT_EQ(VuoCache::globalCache()->savePath(), folder.path + "/kept");
  EXPECT_THAT(log.drain(), ElementsAre("+[VuoCache configGlobalCacheWithSavePath:]",
                                       StartsWith("\t\tvuoFmwkVersString is ")));
  VuoCache::clearCache();
  EXPECT_THAT(log.drain(), Contains("\t\terr: trash path nil or not a folder (" + kept +
                                    ", 0) in +[VuoCache clearCache]"));
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
  std::ranges::stable_sort(answers, {}, [](int answer) { return answer % 8; });
  for (std::size_t i = 1; i < answers.size(); ++i)
    EXPECT_TRUE(i % 8 == 0 || answers[i - 1] < answers[i]) << "of one file in order";
  EXPECT_EQ(most, 1);
  scripted::takeCalls();

  // The application ends while a file is being compiled: saving waits for the compile.
  scripted::script().during["compile"] = [&] {
    compiling.count_down();
    posted.wait();
  };
  timespec time = modificationTimeOf(composition);
  time.tv_nsec ^= 1;
  setModificationTime(composition, time);
  std::thread compiler([&] { VuoCache::fetchCachedExeForVuoFileSynchronously(composition); });
  compiling.wait();
  std::atomic<bool> saved{false};
  std::thread host([&] {
    platform::postNotification(platform::NSApplicationWillTerminateNotification);
    saved = true;
  });
  waitUntilOthersSleep();
  EXPECT_FALSE(saved);
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

TEST_F(Cache, KnowsWhichRecordsAreValid) {
  const auto shared = [](std::string text) {
    return std::make_shared<const std::string>(std::move(text));
  };
  const auto here = shared(composition), gone = shared("/nowhere/x");
  const auto app = shared(platform::mainBundlePath());
  struct {
    VuoCacheItem::Text composition, dylib, exe, app;
    bool valid;
  } const cases[] = {
      {here, nullptr, nullptr, nullptr, true},  {nullptr, nullptr, nullptr, nullptr, false},
      {gone, nullptr, nullptr, nullptr, false}, {here, here, nullptr, nullptr, true},
      {here, gone, nullptr, nullptr, false},    {here, nullptr, here, app, true},
      {here, nullptr, gone, app, false},        {here, nullptr, here, nullptr, false},
      {here, nullptr, here, gone, false},       {here, gone, here, app, false},
  };
  for (const auto& [file, dylib, exe, compiledBy, valid] : cases) {
    const auto item = VuoCacheItem::initWithVuoFile(file, dylib, exe, std::nullopt, compiledBy);
    EXPECT_EQ(item->isValid(), valid) << item->description();
    EXPECT_FALSE(item->upToDate());
  }
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
  EXPECT_EQ(item.modDate(), second);
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
    std::exit(log.drain() == expected ? 0 : 1);
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
