// Text that is set as a picture, from a published input and from a text file, in both modes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Brannow/Brannow.h"
#include "EmptyCache.h"
#include "TestSupport.h"

namespace {

using Answer = VuoFrame::Answer;
using testing::HasSubstr;
using Values = std::map<std::string, ZQVuoPortValue>;

/// Every input of the text is published. It is the file's, or stands over a picture of one color.
std::string composition(const std::string& file, bool fromFile) {
  std::string label, types, cables;
  const auto publish = [&](const std::string& name, const std::string& type,
                           const std::string& value, const std::string& to) {
    label += "|<" + name + ">" + name;
    types += " _" + name + "_type=\"Vuo" + type + "\" _" + name + "=\"" + value + "\"";
    if (!to.empty()) cables += "PublishedInputs:" + name + " -> T:" + to + ";\n";
  };
  publish("width", "Integer", "160", "width");
  publish("height", "Integer", "90", "height");
  publish("textFile", "Text", file, fromFile ? "text" : "");
  publish("words", "Text", "", fromFile ? "" : "text");
  publish("line", "Integer", "0", "line");
  publish("font", "Text", "Sans", "font");
  publish("size", "Real", "0.3", "size");
  publish("color", "Color", "{r:1,g:1,b:1,a:1}", "color");
  publish("alignment", "Text", "start", "alignment");
  publish("vertical", "Text", "top", "verticalAlignment");
  publish("position", "Point2d", "{x:0,y:0}", "position");
  publish("box", "Point2d", "{x:1,y:1}", "box");
  publish("ground", "Color", "{r:0,g:0,b:0,a:0}", "");
  return "digraph G {\nPublishedInputs [type=\"vuo.in\" label=\"In" + label + "\"" + types +
         "];\nPublishedOutputs [type=\"vuo.out\" label=\"Out|<outputImage>o\" "
         "_outputImage_type=\"VuoImage\"];\nT [type=\"vuo.text\"];\n"
         "G [type=\"vuo.shader\" shader=\"g.frag\" _width=\"2\" _height=\"2\"];\n"
         "PublishedInputs:ground -> G:color;\n" +
         (fromFile ? "" : "G:image -> T:image;\n") + cables +
         "T:image -> PublishedOutputs:outputImage;\n}\n";
}

/// Where a picture is not transparent, in hundredths of its sides from the lower left.
struct Ink {
  int left = 100, right = 0, bottom = 100, top = 0;
  double partly = 0;       ///< how much of it is neither quite transparent nor opaque
  std::vector<int> color;  ///< where most of it is

  bool isNone() const { return right < left; }
  int width() const { return right - left; }
  int height() const { return top - bottom; }
};

Ink inkOf(const ZQPixels& pixels) {
  Ink ink;
  int all = 0, partly = 0, most = 0;
  for (std::uint32_t y = 0; y < pixels.height; ++y)
    for (std::uint32_t x = 0; x < pixels.width; ++x) {
      const std::uint8_t* pixel = &pixels.rgba[(y * pixels.width + x) * 4];
      if (pixel[3] == 0) continue;
      const int across = static_cast<int>(x * 100 / pixels.width);
      const int down = static_cast<int>(y * 100 / pixels.height);
      ink.left = std::min(ink.left, across);
      ink.right = std::max(ink.right, across);
      ink.bottom = std::min(ink.bottom, 99 - down);
      ink.top = std::max(ink.top, 99 - down);
      ++all;
      partly += pixel[3] != 255;
      if (pixel[3] <= most) continue;
      most = pixel[3];
      ink.color.assign(pixel, pixel + 4);
    }
  ink.partly = all > 0 ? static_cast<double>(partly) / all : 0;
  return ink;
}

class Text : public testing::TestWithParam<bool> {
 protected:
  Text() {
    static const auto context = brannow::GLContext::createRoot();
    static const auto pool = ZQBufferPool::create(context->handle());
    _globalZQBufferPool = pool.get();
    VuoGLScene::setGlobalVuoGLContext(context);
    useEmptyCache(folder.path);
    folder.write("g.frag",
                 "#version 330 core\nuniform vec4 color;\nout vec4 p;\nvoid main() { p = color; }");
    scene = VuoGLScene::initWithSize(160, 90);
    scene->setRunnerNewProcess(GetParam());
  }
  ~Text() override {
    scene->prepareToBeDeleted();
    platform::finishQueues();
  }

  void load(const std::string& file = "", bool fromFile = false) {
    const std::string name = std::to_string(++loads) + ".vuo";
    scene->useFile(folder.write(name, composition(file, fromFile)));
    serveMainQueueUntil([&] { return scene->status().state != VuoSceneStatus::State::Loading; });
    ASSERT_EQ(scene->status().state, VuoSceneStatus::State::Running) << scene->status().message;
  }
  VuoFrame frame(const Values& values = {}, ZQSize size = {160, 90}) {
    VuoFrameRequest request;
    request.size = size;
    for (const auto& [name, value] : values)
      request.values.emplace(name, std::make_shared<const ZQVuoPortValue>(value));
    return scene->renderFrame(request, std::nullopt);
  }
  Ink ink(const Values& values = {}, ZQSize size = {160, 90}) {
    const VuoFrame made = frame(values, size);
    EXPECT_NE(made.answer, Answer::None) << made.message;
    return made.buffer ? inkOf(_globalZQBufferPool->readPixels(*made.buffer)) : Ink();
  }
  /// The warnings since the last call.
  std::string told() {
    std::string all;
    for (const std::string& line : log.drain())
      if (line.find("warning: ") != line.npos) all += line + "\n";
    return all;
  }

  TestFolder folder;
  TestLog log;
  std::shared_ptr<VuoGLScene> scene;
  int loads = 0;
};

TEST_P(Text, StandsWhereItIsPutAndInItsColor) {
  load();
  const auto is = [](bool (*holds)(const Ink&)) { return holds; };
  const struct {
    const char* what;
    Values values;
    bool (*holds)(const Ink&);
  } cases[] = {
      {"nothing is transparent", {}, is([](const Ink& i) { return i.isNone(); })},
      {"upper left", {{"words", "Hi"}}, is([](const Ink& i) {
         return i.right < 30 && i.bottom > 60;
       })},
      {"middle", {{"alignment", "center"}, {"vertical", "middle"}}, is([](const Ink& i) {
         return std::abs(i.left + i.right - 99) < 4 && std::abs(i.bottom + i.top - 99) < 25;
       })},
      {"lower right", {{"alignment", "end"}, {"vertical", "bottom"}}, is([](const Ink& i) {
         return i.left > 70 && i.top < 40;
       })},
      {"in a box",
       {{"position", ZQVuoPoint{0.25, 0.5}}, {"box", ZQVuoPoint{0.25, 0.5}}},
       is([](const Ink& i) {
         return i.left > 25 && i.right >= 46 && i.right < 50 && i.bottom >= 50;
       })},
      {"color",
       {{"box", ZQVuoPoint{1, 1}},
        {"position", ZQVuoPoint{0, 0}},
        {"color", ZQVuoColor{1, 0.5, 0, 1}}},
       is([](const Ink& i) {
         return i.color == std::vector{255, 128, 0, 255};
       })},
      {"alpha is straight", {{"color", ZQVuoColor{1, 0.5, 0, 0.5}}}, is([](const Ink& i) {
         return std::abs(i.color[0] - 255) + std::abs(i.color[1] - 128) +
                    std::abs(i.color[3] - 128) <
                4;
       })},
      {"over a picture",
       {{"ground", ZQVuoColor{0, 0, 1, 1}}, {"color", ZQVuoColor{1, 0, 0, 1}}},
       is([](const Ink& i) { return i.width() == 99 && i.partly == 0; })},
      {"right to left",
       {{"ground", ZQVuoColor{0, 0, 0, 0}}, {"alignment", "start"}, {"words", "שלום"}},
       is([](const Ink& i) { return i.left > 50 && i.right > 94; })},
      {"no markup", {{"words", "<b>i</b>"}}, is([](const Ink& i) { return i.width() > 50; })},
      {"one line", {{"words", "i\r\nWWW"}, {"line", 1}}, is([](const Ink& i) {
         return i.right < 12;
       })},
      {"the other", {{"line", 2}}, is([](const Ink& i) { return i.right > 30; })},
      {"no such line", {{"line", 3}}, is([](const Ink& i) { return i.isNone(); })},
      {"too small", {{"line", 0}, {"size", 0}}, is([](const Ink& i) { return i.isNone(); })},
      {"too large", {{"size", 1e300}}, is([](const Ink& i) { return !i.isNone(); })},
  };
  for (const auto& [what, values, holds] : cases) {
    const Ink found = ink(values);
    EXPECT_TRUE(holds(found)) << what << ": " << found.left << " to " << found.right << ", "
                              << found.bottom << " to " << found.top;
  }
  const VuoFrame wrong = frame({{"alignment", "left"}});
  EXPECT_EQ(wrong.reason, VuoFrame::Reason::NodeFailed);
  EXPECT_THAT(wrong.message, HasSubstr("there are start, center and end"));
  EXPECT_EQ(told(), "");
}

TEST_P(Text, IsSetAtThePicturesSizeAndOnlyWhenSomethingChanges) {
  load();
  const Ink little = ink({{"words", "Oil"}});
  const Ink large = ink({}, {1280, 720});
  EXPECT_NEAR(little.width(), large.width(), 2);
  EXPECT_NEAR(little.height(), large.height(), 2);
  EXPECT_LT(large.partly, little.partly / 3);  // an enlarged picture's edges would be as soft

  folder.write("a.txt", "Oil");
  load("a.txt", true);
  const VuoFrame first = frame(), second = frame();
  EXPECT_EQ(_globalZQBufferPool->readPixels(*first.buffer),
            _globalZQBufferPool->readPixels(*second.buffer));
  EXPECT_TRUE(GetParam() || first.buffer->name() == second.buffer->name());
}

TEST_P(Text, TellsOfWhatIsMissingAndSetsTheRest) {
  load();
  EXPECT_FALSE(ink({{"words", "a"}, {"font", "No Such Font Bold"}}).isNone());
  EXPECT_FALSE(ink({{"words", "b"}}).isNone());
  EXPECT_THAT(told(), testing::MatchesRegex(
                          "\t\twarning: node \"T\": there is no font \"No Such Font\"; [^\n]*\n"));
  EXPECT_FALSE(ink({{"font", "Serif"}, {"words", "a\U0010FFFD"}}).isNone());
  EXPECT_THAT(told(), HasSubstr("no font that is installed has the letters"));
}

TEST_P(Text, FromAFileIsShownAgainWhenTheFileChanges) {
  folder.write("a.txt", "\xef\xbb\xbfi");
  load("a.txt", true);
  EXPECT_LT(ink().right, 12);
  folder.write("b.txt", "WWW");  // as an editor does it
  std::filesystem::rename(folder.path + "/b.txt", folder.path + "/a.txt");
  while (ink().right < 30) {
  }
  std::filesystem::remove(folder.path + "/a.txt");
  std::string words;
  while ((words += told()).empty()) EXPECT_GT(ink().right, 30);
  EXPECT_THAT(words, HasSubstr("\"textFile\": there is no file"));

  const TestFolder elsewhere;
  EXPECT_LT(ink({{"textFile", elsewhere.write("c.txt", "l")}}).right, 12);
  EXPECT_TRUE(ink({{"textFile", elsewhere.path}}).isNone());
  EXPECT_THAT(told(), HasSubstr("is no regular file"));

  load("../c.txt", true);
  EXPECT_TRUE(ink().isNone());
  EXPECT_THAT(told(), HasSubstr("leads out of the composition's folder"));
}

TEST_P(Text, ThatIsHostileIsHarmless) {
  folder.write("a.txt", "");
  load("a.txt", true);
  std::string marks = "e", turns, words;
  while (marks.size() < 100'000) marks += "\u0301";
  while (turns.size() < 100'000) turns += "\u202e\u2067a\u202d";
  while (words.size() < 1'000'000) words += "lorem ipsum ";
  const std::string hostile[] = {"a\xff\xfe\xc0\x80\xed\xa0\x80",
                                 std::string("a\0b", 3),
                                 "a\x01\x02\x1b[31m\x7f\u0085",
                                 std::string(1'000'000, 'a'),
                                 marks,
                                 turns,
                                 words,
                                 "&amp;<span size='9999999'>&#0;</span>"};
  int number = 0;
  for (const std::string& text : hostile) {
    const auto file = folder.write(std::to_string(++number) + ".txt", text);
    EXPECT_FALSE(ink({{"textFile", file}}).isNone()) << number;
  }
  EXPECT_THAT(told(), HasSubstr("too long to be set"));
  EXPECT_TRUE(ink({{"textFile", folder.write("long", std::string(1 << 20, 'a'))}}).isNone());
  EXPECT_THAT(told(), HasSubstr("longer than a text may be"));
}

INSTANTIATE_TEST_SUITE_P(Modes, Text, testing::Bool(), [](const auto& mode) {
  return mode.param ? "OwnProcess" : "ThisProcess";
});

}  // namespace
