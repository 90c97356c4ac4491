#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <barrier>
#include <chrono>
#include <future>
#include <stdexcept>
#include <thread>

#include "Brannow/BrannowVersion.h"
#include "TestSupport.h"
#include "platform/hostbase/HostStrings.h"
#include "platform/hostbase/ObjectHolder.h"
#include "platform/system/Alert.h"
#include "platform/system/Bundle.h"
#include "platform/system/Digest.h"
#include "platform/system/FileLock.h"
#include "platform/system/FileSystem.h"
#include "platform/system/GLContext.h"
#include "platform/system/Notifications.h"
#include "platform/system/PropertyList.h"
#include "platform/system/Regex.h"
#include "platform/system/SpinLock.h"
#include "platform/system/UserDefaults.h"

namespace {

using namespace platform;
using namespace std::chrono_literals;
using namespace std::string_literals;
using testing::ElementsAre;

void onThreads(int count, const std::function<void(int)>& work) {
  std::vector<std::jthread> threads;
  for (int i = 0; i < count; ++i) threads.emplace_back(work, i);
}

GLContextHandle current() {
  const auto context = GLContext::wrapCurrent();
  return context ? context->handle() : GLContextHandle{};
}

TEST(GLContext, ScopesNestAndPutBackWhatWasCurrentOnTheirThread) {
  const auto root = GLContext::createRoot();
  ASSERT_TRUE(root);
  const auto shared =
      GLContext::createSharedWith({root->handle().display, {}, root->handle().context});
  ASSERT_TRUE(shared);
  {
    GLCurrent outer(*root);
    ASSERT_TRUE(outer);
    {
      GLCurrent inner(*shared), again(*shared);
      EXPECT_TRUE(inner && again);
      EXPECT_EQ(current().context, shared->handle().context);
    }
    EXPECT_EQ(current(), root->handle());
    std::jthread([&] {
      EXPECT_FALSE(current());
      EXPECT_FALSE(GLCurrent(*root)) << "it is current on another thread";
      EXPECT_TRUE(GLCurrent(*shared));
    }).join();
  }
  EXPECT_FALSE(current());
  EXPECT_FALSE(GLContext::createSharedWith({}));
}

TEST(Dispatch, SerialQueuesKeepTheOrderOfSubmissionAndOutliveTheirReferences) {
  constexpr int kThreads = 4, kTasks = 500;
  std::vector<std::vector<int>> ran(kThreads);
  onThreads(kThreads, [&](int thread) {
    auto queue = makeSerialQueue("order");
    for (int i = 0; i < kTasks; ++i)
      queue->after(10us, [&, thread, i] { ran[thread].push_back(i); });
  });
  finishQueues();
  for (const auto& numbers : ran) {
    EXPECT_EQ(numbers.size(), std::size_t{kTasks});
    EXPECT_TRUE(std::is_sorted(numbers.begin(), numbers.end()));
  }
}

TEST(Dispatch, ConcurrentTasksRunSideBySideAndOneThatThrowsStopsNoOther) {
  TestLog log;
  constexpr int kTogether = 40;  // far more than threads that stay
  std::barrier together(kTogether);
  for (int i = 0; i < kTogether; ++i)
    globalConcurrentQueue().async([&] { together.arrive_and_wait(); });
  bool ran = false;
  const auto queue = makeSerialQueue("throws");
  queue->async([] { throw std::runtime_error("oops"); });
  queue->async([&] { ran = true; });
  finishQueues();
  EXPECT_TRUE(ran);
  EXPECT_THAT(log.drain(), ElementsAre("\t\terr: a dispatched task raised oops"));
}

TEST(MainQueue, RunsWhatIsDueInTheHostsLoopOrOnAThreadOfItsOwn) {
  auto& queue = MainQueue::shared();
  const auto isReadable = [&] {
    pollfd event{queue.fileDescriptor(), POLLIN, 0};
    return ::poll(&event, 1, 0) == 1;
  };
  std::string ran;
  EXPECT_FALSE(isReadable());
  queue.async([&] {
    ran += 'a';
    queue.async([&] { ran += 'c'; });
  });
  queue.async([&] { ran += 'b'; });
  EXPECT_TRUE(isReadable());
  EXPECT_EQ(queue.runDue(), 2u);
  EXPECT_EQ(ran, "ab");
  EXPECT_EQ(queue.runDue(), 1u);
  EXPECT_FALSE(isReadable());

  // The wait for a late task does not hold up an earlier one.
  queue.after(24h, [&] { ran += '?'; });
  queue.after(1ms, [&] { ran += 'd'; });
  queue.after(1ms, [&] {
    ran += 'e';
    queue.async([&] { queue.stop(); });
    queue.async([&] { ran += 'f'; });
  });
  queue.run();
  EXPECT_EQ(ran, "abcde");
  EXPECT_EQ(queue.runDue(), 1u);
  EXPECT_EQ(ran, "abcdef");
}

TEST(SystemLog, FillsPlaceholdersInAndNeverTakesAValueForAFormat) {
  TestLog log;
  systemLog("%s %@ %d %lu %x 100%", {"%s"s, std::optional<std::string>{}, -1, 2ul});
  systemLog("%s %s", {"one"});
  EXPECT_THAT(log.drain(), ElementsAre("%s (null) -1 2 %x 100%", "one %s"));
}

TEST(FileSystem, TakesPathsApart) {
  const struct {
    std::string path, last, folder, extension;
  } cases[] = {{"a/b/c.vuo", "c.vuo", "a/b", "vuo"}, {"c", "c", "", ""},  {"/c.", "c.", "/", ""},
               {"a.b//c//", "c", "a.b", ""},         {"/", "/", "/", ""}, {"", "", "", ""}};
  for (const auto& [path, last, folder, extension] : cases) {
    EXPECT_EQ(lastPathComponent(path), last) << path;
    EXPECT_EQ(deletingLastPathComponent(path), folder) << path;
    EXPECT_EQ(pathExtension(path), extension) << path;
  }
  TestFolder home;
  EXPECT_EQ(expandTilde("~"), home.path);
  EXPECT_EQ(expandTilde("~/a"), home.path + "/a");
  EXPECT_EQ(expandTilde("~root/a"), "/root/a");
  EXPECT_EQ(expandTilde("~no such user/a"), "~no such user/a");
  EXPECT_EQ(expandTilde("a/~"), "a/~");
}

TEST(FileSystem, ReadsTextThatIsUtf8Only) {
  TestFolder folder;
  for (const auto& text : {""s, "a\0\0b"s, "\0"s, "\u00e9\U0001F600"s, std::string(5 << 20, 'x')})
    EXPECT_EQ(readTextFile(folder.write("text", text)), text);
  for (const auto& text : {"\xff"s, "a\0\xc3"s, "\xed\xa0\x80"s, "\xc0\x80"s, "\xf4\x90\x80\x80"s})
    EXPECT_EQ(readTextFile(folder.write("text", text)), std::nullopt);
}

TEST(FileSystem, ReadsRegularFilesOfABoundedSizeAndSaysWhyNot) {
  TestFolder folder;
  const std::string fifo = folder.path + "/fifo", huge = folder.write("huge", "");
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  std::filesystem::resize_file(huge, std::uintmax_t{1} << 40);
  const struct {
    std::string path, why;
  } cases[] = {{folder.path + "/none", "No such file or directory"},
               {folder.path, "it is no regular file"},
               {fifo, "it is no regular file"},
               {"/dev/zero", "it is no regular file"},
               {huge, "it is larger than 8388608 bytes"}};
  for (const auto& [path, expected] : cases) {
    ReadFailure failure;
    EXPECT_FALSE(readFile(path, largestTextFile, &failure)) << path;
    EXPECT_EQ(failure.text, expected) << path;
  }
  const std::string ten = folder.write("ten", "0123456789");
  EXPECT_EQ(readFile(ten, 10), "0123456789");
  EXPECT_FALSE(readFile(ten, 9));
  EXPECT_FALSE(readFile("/proc/self/maps", 100)) << "it has no length beforehand";
  EXPECT_FALSE(readPropertyList(fifo) || readPropertyList(huge));
}

TEST(FileLock, HoldsOneByteAgainstThreadsAndProcessesAndEndsWithThem) {
  TestFolder folder;
  const std::string file = folder.path + "/lock";
  auto first = FileLock::wait(file, 1);
  ASSERT_TRUE(first);
  EXPECT_FALSE(FileLock::tryOnce(file, 1));
  EXPECT_TRUE(FileLock::tryOnce(file, 2));
  std::future<bool> waiter = std::async([&] { return FileLock::wait(file, 1).has_value(); });
  first.reset();
  EXPECT_TRUE(waiter.get());

  int ready[2];
  ASSERT_EQ(::pipe(ready), 0);
  const pid_t holder = ::fork();
  if (holder == 0) {
    const auto held = FileLock::wait(file, 1);
    if (::write(ready[1], "", 1) != 1) ::_exit(1);
    for (;;) ::pause();
  }
  char byte;
  ASSERT_EQ(::read(ready[0], &byte, 1), 1);
  EXPECT_FALSE(FileLock::tryOnce(file, 1));
  ::kill(holder, SIGKILL);
  EXPECT_TRUE(FileLock::wait(file, 1));
  ::waitpid(holder, nullptr, 0);

  // Who holds a file that has been removed meanwhile shuts nobody out.
  const auto old = FileLock::wait(file, 1);
  std::filesystem::remove(file);
  EXPECT_TRUE(FileLock::tryOnce(file, 1));
  EXPECT_FALSE(FileLock::wait(folder.path, 1));
  std::filesystem::create_symlink(file, folder.path + "/link");
  EXPECT_FALSE(FileLock::wait(folder.path + "/link", 1));
}

TEST(FileSystem, AWriteReplacesTheWholeFileOrLeavesNoTrace) {
  TestFolder folder;
  const std::string file = folder.write("file", "a longer text than the new one"),
                    inside = folder.path + "/a/b";
  EXPECT_TRUE(writeFileAtomically(file, "new\0text"s));
  EXPECT_EQ(readTextFile(file), "new\0text"s);
  ASSERT_TRUE(createFolders(inside));
  EXPECT_FALSE(createFolders(file + "/c"));
  EXPECT_FALSE(writeFileAtomically(folder.path + "/a", "text"));
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path), {}), 2);
  setModificationTime(file, {4'102'444'800, 123'456'789});
  EXPECT_EQ(modificationTime(file), FileTime(4'102'444'800'123'456'789ns));
}

TEST(FileSystem, WhatTheTrashRefusesIsRenamedAside) {
  TestFolder folder;
  ::setenv("XDG_DATA_HOME", "/proc/none", 1);
  for (const char* aside : {"/cache.trashed-1", "/cache.trashed-2"}) {
    createFolders(folder.path + "/cache/inside");
    EXPECT_TRUE(moveToTrash(folder.path + "/cache/"));
    EXPECT_FALSE(itemExists(folder.path + "/cache"));
    EXPECT_TRUE(isFolder(folder.path + aside + "/inside"));
  }
  EXPECT_FALSE(moveToTrash(folder.path + "/cache"));
}

std::string base64(const std::string& bytes) {
  const auto xml = xmlOf({{"k", {PropertyListData{bytes}}}});
  const auto start = xml.find("<data>") + 6;
  return xml.substr(start, xml.find('<', start) - start);
}

PropertyListValue dictionaryValue(PropertyListDictionary items) {
  return {std::make_shared<const PropertyListDictionary>(std::move(items))};
}

TEST(PropertyList, GivesBackWhatItWroteAndLeavesOutOnlyWhatXmlCannotHold) {
  TestFolder folder;
  const std::string file = folder.path + "/list.plist";
  const auto date = PropertyListDate(1'700'000'000s);
  const std::vector<std::string> keys{"",   " a ", "\n", "<&>\"'", "a\tb\r\nc", "\u00e9\U0001F600",
                                      "]]>"};
  const std::vector<std::string> noKeys{"a\x01", "a\0b"s, "\xff", "\xEF\xBF\xBE"};
  PropertyListDictionary texts,
      record{{"old", {PropertyListDate(-100'000'000'000s)}}, {"d", {date}}, {"x", {}}};
  for (const auto& list : {keys, noKeys})
    for (const auto& text : list) texts[text] = {text}, texts["k" + base64(text)] = {text};
  ASSERT_TRUE(writePropertyListAtomically(
      {{"texts", dictionaryValue(texts)}, {"record", dictionaryValue(record)}}, file));
  const auto read = readPropertyList(file).value();
  EXPECT_EQ(read.at("record").dictionary()->size(), 1u);
  EXPECT_EQ(read.at("record").dictionary()->at("d").date(), date);
  const auto& readTexts = *read.at("texts").dictionary();
  EXPECT_EQ(readTexts.size(), texts.size() - noKeys.size());
  for (const auto& [key, text] : readTexts) EXPECT_EQ(text.string(), texts.at(key).string()) << key;

  const std::string xml = *readTextFile(file);
  for (std::size_t length = 0; length + 9 < xml.size(); ++length)
    EXPECT_FALSE(propertyListOf(std::string_view(xml).substr(0, length))) << length;
}

TEST(PropertyList, KeepsTheValuesThatNobodyReads) {
  const std::string kept =
      "<array><string>a&lt;b</string><dict><key>k</key><real>1</real></dict></array>";
  const std::string xml =
      "\xEF\xBB\xBF<?xml version=\"1.0\"?><!DOCTYPE plist><plist><dict>"
      "<key>a</key>" +
      kept +
      "<key>d</key><data> YWJj\n </data><key>n</key><integer>7</integer>"
      "<key>t</key><true/><!-- <key>no</key> --><key>s</key>"
      "<string>x<!-- - -->y<![CDATA[<z>]]></string>"
      "<key>w</key><date>never</date><key>s</key><string>twice</string>"
      "</dict></plist>";
  const auto first = propertyListOf(xml).value();
  EXPECT_EQ(stringForKey(first, "s"), "xy<z>");
  EXPECT_EQ(stringForKey(first, "d"), "abc");
  EXPECT_FALSE(first.at("w").date());
  const std::string again = xmlOf(propertyListOf(xmlOf(first)).value());
  EXPECT_EQ(again, xmlOf(first));
  for (const auto& part : {kept, "<data>YWJj</data>"s, "<integer>7</integer>"s, "<true></true>"s,
                           "<date>never</date>"s})
    EXPECT_NE(again.find(part), again.npos) << part;
}

TEST(PropertyList, RefusesWhatIsNone) {
  const std::string head = "<plist version=\"1.0\">";
  std::string deep = head + "<dict>", hidden = deep;
  for (int depth = 0; depth < 1'000'000; ++depth) {
    deep += "<key>k</key><dict>";
    hidden += "<key>k</key><array><!-- </array> --><array a='>'>";
  }
  for (const auto& hostile :
       {deep, hidden, "bplist00"s, "<dict"s, "<"s, "<array/>"s, ""s, head + "<array/></plist>",
        head + "<dict><key>a</key></dict></plist>", head + "<dict><string/></dict></plist>",
        head + "<dict>text</dict></plist>", head + "<dict/><dict/></plist>",
        head + "<dict/></plist>" + head + "<dict/></plist>", head + "</plist>",
        head + "<dict><key>a</key><key>b</key><string/></dict></plist>",
        head + "<dict><key>a</key><set/></dict></plist>",
        head + "<dict><key>a</key><string><true/></string></dict></plist>",
        head + "<dict><key>a</key><string>&a;</string></dict></plist>"})
    EXPECT_FALSE(propertyListOf(hostile)) << hostile.substr(0, 80);
}

TEST(UserDefaults, ConcurrentChangesAllReachTheProgramsOwnFile) {
  TestFolder folder;
  EXPECT_EQ(userDefault("key0"), std::nullopt);
  onThreads(8, [](int i) { setUserDefault(std::to_string(i), "key" + std::to_string(i)); });
  for (int i = 0; i < 8; ++i) EXPECT_EQ(userDefault("key" + std::to_string(i)), std::to_string(i));
  setUserDefault(std::nullopt, "key0");
  EXPECT_EQ(userDefault("key0"), std::nullopt);
  EXPECT_EQ(userDefault("key1"), "1");
}

TEST(UserDefaults, KeepWhatIsNotOursAndSetDamagedFilesAside) {
  TestFolder folder;
  setUserDefault("1", "ours");
  std::string file;
  for (const auto& item : std::filesystem::directory_iterator(folder.path + "/config/system_test"))
    if (item.path().extension() == ".plist") file = item.path();
  ASSERT_THAT(file, testing::MatchesRegex(".*/defaults-[0-9A-F]{16}\\.plist"));
  std::ofstream(file) << "<plist><dict><key>window</key><array><integer>3</integer></array>"
                         "</dict></plist>";
  setUserDefault("2", "ours");
  EXPECT_EQ(userDefault("ours"), "2");
  EXPECT_NE(readTextFile(file)->find("<array><integer>3</integer></array>"), std::string::npos);

  std::ofstream(file) << "damaged";
  setUserDefault("3", "ours");
  EXPECT_EQ(userDefault("ours"), "3");
  EXPECT_EQ(readTextFile(file + ".damaged"), "damaged");

  std::filesystem::remove(file);
  ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0);
  setUserDefault("4", "ours");  // neither waits for a writer
  EXPECT_EQ(userDefault("ours"), std::nullopt);
}

TEST(Bundle, IsFoundFromTheCodeInIt) {
  const int onTheStack = 0;
  EXPECT_THAT(
      bundlePathContaining(reinterpret_cast<const void*>(&BrannowVersion::number)).value_or(""),
      testing::EndsWith("/Brannow.framework"));
  EXPECT_EQ(bundlePathContaining(reinterpret_cast<const void*>(&onThreads)), std::nullopt);
  EXPECT_EQ(bundlePathContaining(&onTheStack), std::nullopt);
  EXPECT_EQ(mainBundlePath(), std::filesystem::canonical("/proc/self/exe"));
}

TEST(Regex, FindsTheFirstMatchAndIsNotSlowedByHostileText) {
  const Regex color("\\{r:([0-9\\.]+),g:([0-9\\.]+)(,a:1)?(\\})");
  const std::string digits(50 << 20, '1');
  EXPECT_THAT(color.firstMatch("x{r:{R:1.5,G:2}{r:3,g:4}").value(),
              ElementsAre("1.5", "2", "", "}"));
  EXPECT_EQ(color.firstMatch("{r:" + digits + ",g:2,a:1}").value()[0].size(), digits.size());
  EXPECT_FALSE(color.firstMatch("{r:" + digits));
  EXPECT_FALSE(color.firstMatch({}));
}

TEST(Notifications, CallWhoeverObservesThatNameInOrder) {
  std::string called;
  auto first = observeNotification("n", [&] { called += '1'; });
  Observation late;
  auto second = observeNotification("n", [&] {
    called += '2';
    first.reset();
    late = observeNotification("n", [&] { called += '3'; });
  });
  auto other = observeNotification("m", [&] { called += 'm'; });
  postNotification("n");
  second.reset();
  postNotification("n");
  EXPECT_EQ(called, "123");
}

TEST(Alert, AsksTheInstalledPresenter) {
  Alert alert{"main", "more", AlertStyle::Warning, {"OK", "Stop"}};
  setAlertPresenter([](const Alert& shown) { return shown.buttons.size() - 1; });
  EXPECT_EQ(runAlertModally(alert), AlertFirstButtonReturn + 1);
  setAlertPresenter({});
  testing::internal::CaptureStderr();
  EXPECT_EQ(runAlertModally(alert), AlertFirstButtonReturn);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "main\nmore\n");
}

TEST(SpinLock, LetsOneHolderInAtATime) {
  SpinLock lock;
  int count = 0;
  onThreads(4, [&](int) {
    for (int i = 0; i < 10'000; ++i) {
      platform::LockGuard hold(lock);
      ++count;
    }
  });
  EXPECT_EQ(count, 40'000);
}

TEST(HostStrings, AndTheDigest) {
  EXPECT_EQ(firstChar(""), "");
  EXPECT_EQ(firstChar(".vuo"), ".");
  EXPECT_EQ(firstChar("\u00e9a"), "\u00e9");
  for (const char* name : {"txtFile", "myTextFileInput", "TXTFILE"})
    EXPECT_TRUE(denotesTXTFileInput(name));
  for (const char* name : {"", "text", "txt file", "fileText"})
    EXPECT_FALSE(denotesTXTFileInput(name));
  EXPECT_THAT(md5("abc"), ElementsAre(0x90, 0x01, 0x50, 0x98, 0x3c, 0xd2, 0x4f, 0xb0, 0xd6, 0x96,
                                      0x3f, 0x7d, 0x28, 0xe1, 0x7f, 0x72));
}

TEST(ObjectHolder, ReadsNullOnceItsObjectIsGone) {
  auto object = std::make_shared<int>(1);
  const auto holder = ObjectHolder<int>::initWithZWRObject(object);
  EXPECT_EQ(holder->object(), object);
  object.reset();
  EXPECT_EQ(holder->object(), nullptr);
}

}  // namespace
