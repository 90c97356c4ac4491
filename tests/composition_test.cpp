// The description of composition files: ports, values, roles.
#include <gmock/gmock.h>

#include <atomic>
#include <clocale>
#include <cmath>
#include <limits>
#include <thread>

#include "Brannow/ZQVuoCompStringAdditions.h"
#include "Brannow/ZQVuoComposition.h"
#include "tests/TestSupport.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

template <class Given>
constexpr bool kIsValue = std::is_convertible_v<Given, ZQVuoPortValue>;
static_assert(kIsValue<bool> && kIsValue<char> && kIsValue<unsigned> && kIsValue<std::size_t> &&
              kIsValue<float> && kIsValue<long double> && kIsValue<std::string_view> &&
              kIsValue<const char*> && kIsValue<char*>);
static_assert(!kIsValue<int*> && !kIsValue<const void*> && !kIsValue<std::nullptr_t> &&
              !kIsValue<void (*)()> && !kIsValue<int std::string::*>);

constexpr double kInfinity = std::numeric_limits<double>::infinity();

struct Reader {
  std::shared_ptr<ZQVuoComposition> read(const std::string& text) const {
    return ZQVuoComposition::initWithPath(folder.write("a.vuo", text));
  }
  /// The only port of a line with these attributes.
  std::shared_ptr<ZQVuoCompositionPort> port(const std::string& attributes) const {
    const auto composition = read("PublishedInputs [type=vuo.in label=P|<p> " + attributes + "];");
    const auto& ports = composition->publishedInputPorts();
    return ports.size() == 1 ? ports[0] : nullptr;
  }

  TestFolder folder;
};

std::vector<std::string> described(const ZQVuoComposition::PortList& ports) {
  std::vector<std::string> texts;
  for (const auto& port : ports) {
    texts.push_back(port->portName() + ":" + ZQVuoPortTypeDescription(port->portType()));
    if (port->wantsUI()) texts.back() += "*";
  }
  return texts;
}

std::vector<std::string> told(const ZQVuoComposition& composition) {
  std::vector<std::string> texts;
  for (const auto& problem : composition.problems()) {
    texts.push_back(std::to_string(problem.line) + " " + ZQVuoProblemKindDescription(problem.kind));
    if (problem.byteOffset) texts.back() += " at " + std::to_string(*problem.byteOffset);
  }
  return texts;
}

std::string inputs(const std::string& names) {
  return "PublishedInputs [type=\"vuo.in\" label=\"P" + names +
         "\" _image_type=VuoImage _width_type=VuoInteger _height_type=VuoReal _time_type=VuoReal"
         " _aTxtFile_type=VuoText _outputImage_type=VuoImage _text_type=VuoText];\n";
}

const std::string kOutput =
    "PublishedOutputs [type=vuo.out label=O|<image>|<outputImage>|<outputImage>"
    " _image_type=VuoImage _outputImage_type=VuoImage];\n";

}  // namespace

TEST(Composition, LooksLegitimateByItsNameAlone) {
  for (const char* path : {"Foo.VUO", "a/b/c.vuo", "/missing/x.VuO", "a.b.vuo", ".dir/x.vuo"})
    EXPECT_TRUE(ZQVuoComposition::pathLooksLikeALegitComposition(path)) << path;
  for (const char* path : {".hidden.vuo", "d/.hidden.vuo", "foo.vuox", "foo.vu", "foo", "vuo", ""})
    EXPECT_FALSE(ZQVuoComposition::pathLooksLikeALegitComposition(path)) << path;
  EXPECT_FALSE(ZQVuoComposition::pathLooksLikeALegitComposition(std::nullopt));
}

TEST(Composition, FindsThePortsOfEachLine) {
  const Reader reader;
  const std::string good = "PublishedInputs [type=\"vuo.in\" label=\"<t>|<a>a\\l|<b>\" ";
  const std::string types = "_t_type=VuoReal _a_type=\"VuoReal\" _b_type=VuoText]";
  const struct {
    std::string text;
    std::vector<std::string> ports;
  } cases[] = {
      {good + types, {"a:Real*", "b:Text*"}},
      {" " + good + types, {}},
      {"\xEF\xBB\xBF" + good + types, {}},
      {"PublishedInputs:a -> B:c;\nPublishedInputs\nPublishedInputs ]x[", {}},
      {"PublishedInputsToo" + good.substr(15) + types, {"a:Real*", "b:Text*"}},
      {good + "_a_type=VuoPoint2D _b_type=VuoPoint2d]", {"b:Point2D*"}},
      {good + "type=vuo.out " + types, {}},
      {good + "x=[] ] [ " + types, {"a:Real*", "b:Text*"}},
      {good + "\t" + types, {"a:Real*", "b:Text*"}},
      {good + "label=|<b>|>a<|<a|a>|<x<y>z>| _x<y>z_type=VuoImage " + types,
       {"b:Text*", "x<y>z:Image*"}},
      {good + "label=|<a>|<>|<a> __type=VuoColor " + types, {"a:Real*", ":Color*", "a:Real*"}},
      {good + types + "\r\n" + good + types + "\xC2\x85" + good + "label=|<b> " + types +
           "\xE2\x80\xA8" + good + types + "\xE2\x80\xA9x\xE2\x80\xA7" + good + types,
       {"a:Real*", "b:Text*", "a:Real*", "b:Text*", "b:Text*", "a:Real*", "b:Text*"}},
      {std::string("\0\r", 2) + good + "label=|<n" + std::string(1, '\0') + "> _n" +
           std::string(1, '\0') + "_type=VuoReal " + types,
       {std::string("n\0:Real*", 8)}},
      {good + types + "\xFF", {}},
  };
  for (const auto& [text, ports] : cases)
    EXPECT_EQ(described(reader.read(text)->publishedInputPorts()), ports) << text;
}

TEST(Composition, ReadsNumbersByTheirLongestBeginning) {
  const Reader reader;
  std::setlocale(LC_ALL, "de_DE.UTF-8");
  const std::string zeros(400, '0');
  const struct {
    std::string text;
    double number;
  } cases[] = {{"640", 640},
               {"abc", 0},
               {"-1", -1},
               {"+1.5x", 1.5},
               {"+-1", 0},
               {".5", 0},
               {"5.e3", 5},
               {"5e+", 5},
               {"\"\t7\"", 7},
               {"0x10", 0},
               {"inf", 0},
               {"1,5", 1},
               {"-1e999", -kInfinity},
               {"1e-999", 0},
               {"", 0},
               {"1" + zeros + "e-400", 1},
               {"0." + zeros + "1e401", 1},
               {"1" + zeros, kInfinity},
               {"0." + zeros + "1", 0},
               {"1e99999999999999999999", kInfinity},
               {"1e-99999999999999999999", 0},
               {"2.5e-324", 5e-324}};
  for (const auto& [text, number] : cases) {
    for (const char* type : {"VuoReal", "VuoInteger"})
      EXPECT_EQ(reader.port("_p=" + text + " _p_type=" + type)->defaultVal()->contents(),
                ZQVuoPortValue::Contents(number))
          << text;
  }
  std::setlocale(LC_ALL, "C");
  EXPECT_TRUE(std::signbit(*reader.port("_p=-0 _p_type=VuoReal")->defaultVal()->doubleValue()));

  const auto ranged = reader.port(
      "_p_suggestedMin=-1 _p_suggestedMax=2 _p_suggestedMax=3 _p_suggestedStep=0.5 "
      "_p_type=VuoReal");
  EXPECT_EQ(ranged->minVal(), -1);
  EXPECT_EQ(ranged->maxVal(), 3);
  EXPECT_EQ(ranged->stepVal(), 0.5);
  EXPECT_EQ(ranged->defaultVal(), nullptr);
}

TEST(Composition, ReadsDefaultsByType) {
  const Reader reader;
  TestLog log;
  const std::string badColor = "\t\terr parsing color string in -[ZQVuoComposition _parseLine:]";
  const std::string badPoint = "\t\terr parsing 2D string in -[ZQVuoComposition _parseLine:]";
  const struct {
    const char* attributes;
    std::optional<ZQVuoPortValue> value;
    std::vector<std::string> logged;
  } cases[] = {
      {"_p_type=VuoBoolean _p=\"true\"", true, {}},
      {"_p_type=VuoBoolean _p=false", false, {}},
      {"_p_type=VuoBoolean _p=TRUE", {}, {}},
      {"_p_type=VuoColor _p={r:1,g:0.5,b:0,a:1}", ZQVuoColor{1, 0.5, 0, 1}, {}},
      {"_p_type=VuoColor _p=x{R:1.2.3,G:5.,B:..,A:01}y", ZQVuoColor{1.2, 5, 0, 1}, {}},
      {"_p_type=VuoColor _p={r:-1,g:0,b:0,a:1}", {}, {badColor}},
      {"_p_type=VuoColor", {}, {}},
      {"_p_type=VuoPoint2d _p={x:0.25,y:0.75}", ZQVuoPoint{0.25, 0.75}, {}},
      {"_p_type=VuoPoint2d _p={x:1,{X:1,Y:2}{x:3,y:4}", ZQVuoPoint{1, 2}, {}},
      {"_p_type=VuoPoint2d _p=\"{x:0.5, y:0.5}\"", {}, {badPoint}},
      {"_p_type=VuoText _p=\"\\\"Hello World\\\"\"", "Hello", {}},
      {"_p_type=VuoText _p=a=\\\\\"\"b\\n", "a=\\b\\n", {}},
      {"_p_type=VuoText _p=\"\"", "", {}},
      {"_p_type=VuoText _p=\"null\"", {}, {}},
      {"_p_type=VuoImage _p=1 _p_suggestedMin=1", {}, {}},
  };
  for (const auto& [attributes, value, logged] : cases) {
    const auto port = reader.port(attributes);
    ASSERT_TRUE(port) << attributes;
    const auto found = port->defaultVal();
    EXPECT_EQ(found ? std::optional(*found) : std::nullopt, value) << attributes;
    EXPECT_EQ(port->minVal(), std::nullopt);
    EXPECT_EQ(log.drain(), logged) << attributes;
  }
  const auto twice = reader.read(
      "PublishedOutputs [type=vuo.out label=|<t>|<c>|<t>|<c> _c=x _c_type=VuoColor _t=x "
      "_t_type=VuoText]");
  EXPECT_THAT(log.drain(), ElementsAre(badColor, badColor));
  const auto& ports = twice->publishedOutputPorts();
  ASSERT_EQ(ports.size(), 4u);
  EXPECT_NE(ports[0], ports[2]);
  EXPECT_EQ(ports[0]->defaultVal(), ports[2]->defaultVal());  // read once, however often named
}

TEST(Composition, GivesRolesToTheFirstThatFits) {
  const Reader reader;
  const struct {
    std::string text;
    std::int64_t protocol;
    std::vector<std::string> inputs;
  } cases[] = {
      {inputs("|<image>|<width>|<height>|<time>") + kOutput,
       1,
       {"image:Image", "width:Integer", "height:Real", "time:Real"}},
      {inputs("|<width>|<height>|<width>|<outputImage>") + kOutput,
       2,
       {"width:Integer", "height:Real", "width:Integer*", "outputImage:Image*"}},
      {kOutput + inputs("|<aTxtFile>|<text>|<aTxtFile>|<width>") + inputs("|<height>"),
       6,
       {"aTxtFile:Text", "text:Text*", "aTxtFile:Text*", "width:Integer", "height:Real"}},
      {inputs("|<image>|<width>|<height>"), 0, {"image:Image", "width:Integer", "height:Real"}},
      {inputs("|<width>|<time>|<aTxtFile>") + kOutput,
       0,
       {"width:Integer", "time:Real", "aTxtFile:Text"}},
  };
  for (const auto& [text, protocol, ports] : cases) {
    const auto composition = reader.read(text);
    EXPECT_EQ(composition->protocol(), protocol) << text;
    EXPECT_EQ(described(composition->publishedInputPorts()), ports) << text;
    EXPECT_TRUE(composition->conformsToVuoProtocol(0));
    EXPECT_EQ(composition->conformsToVuoProtocol(6), protocol == 6);
  }
  const auto generator = reader.read(cases[1].text);
  EXPECT_EQ(generator->runnerWidthPort(), generator->publishedInputPorts()[0]);
  EXPECT_EQ(generator->inputPortNamed("width"), generator->publishedInputPorts()[0]);
  EXPECT_EQ(generator->runnerImageInputPort(), nullptr);
  EXPECT_EQ(generator->runnerImageOutputPort(), generator->publishedOutputPorts()[1]);
  EXPECT_EQ(generator->outputPortNamed("Outputimage"), nullptr);
  EXPECT_EQ(generator->inputPortNamed(std::nullopt), nullptr);
  EXPECT_THAT(described(generator->publishedOutputPorts()),
              ElementsAre("image:Image", "outputImage:Image", "outputImage:Image"));
}

TEST(Composition, SurvivesWhatCanNotBeRead) {
  const TestFolder folder;
  TestLog log;
  EXPECT_EQ(ZQVuoComposition::initWithPath(std::nullopt), nullptr);
  const std::string fifo = folder.path + "/fifo.vuo";
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  const std::pair<std::string, const char*> cases[] = {
      {folder.path, "0 fileUnreadable"},
      {fifo, "0 fileUnreadable"},
      {folder.path + "/missing.vuo", "0 fileMissing"},
      {folder.write("bad", "\xC0"), "1 fileNotUtf8 at 0"}};
  for (const auto& [path, problem] : cases) {
    const auto composition = ZQVuoComposition::initWithPath(path);
    EXPECT_THAT(told(*composition), ElementsAre(problem));
    EXPECT_EQ(composition->path(), path);
    EXPECT_EQ(composition->protocol(), 0);
    EXPECT_THAT(composition->publishedInputPorts(), IsEmpty());
    EXPECT_THAT(log.drain(),
                ElementsAre("\t\terr: couldn't load file, -[ZQVuoComposition _loadComposition]"));
  }
  EXPECT_EQ(ZQVuoComposition::initWithPath("x/missing.vuo")->fileName(), "missing.vuo");
}

TEST(Composition, TellsWhatItCouldNotRead) {
  const Reader reader;
  const TestLog log;
  const std::string node = "PublishedInputs [type=\"vuo.in\" label=\"P|<p>p\\l\" ";
  const std::string real = node + "_p_type=\"VuoReal\" ";
  const struct {
    std::string text;
    std::vector<std::string> problems;
  } cases[] = {
      {"digraph G {\n" + real + "_p=\"1\"];\n" + kOutput + "}\n", {}},
      {"\xC2\x85\xE2\x80\xA8\r\n\nab\xC0", {"5 fileNotUtf8 at 10"}},
      {"\n \t" + real + "];", {"2 nodeIndented"}},
      {"\n/*\n " + real + "];\n*/ A [x=\"\\\"\n " + real + "];\"]\n // \"\n " + real + "];",
       {"7 nodeIndented"}},
      {" PublishedInputs:p -> A:b [event=true];\n  PublishedInputs -> A;\n PublishedInputsToo [];",
       {}},
      {"PublishedInputs:p -> A:b [event=true];\nPublishedInputs\n", {}},
      {"PublishedInputs\n\n// why\n[type=vuo.in]", {"1 nodeOverSeveralLines"}},
      {node + "\n_p_type=VuoReal];", {"1 nodeOverSeveralLines"}},
      {"PublishedInputs [type=vuo.in] /* and */ [label=\"a]\"\n];", {"1 nodeOverSeveralLines"}},
      {real + "] // ]\nA [];", {}},
      {"PublishedOutputs [type=vuo.in];\rPublishedInputs [];",
       {"1 nodeTypeUnknown", "2 nodeTypeMissing"}},
      {"PublishedInputs [type=vuo.in label=\"My ports|<p>p\"];", {"1 valueCutAtSpace"}},
      {node + "_p_type=VuoText _p=\"\\\"Hello World\\\"\"];", {"1 valueCutAtSpace"}},
      {node + "_p_type=VuoText _p=\"a\\\" b\"];", {"1 valueCutAtSpace"}},
      {node + "_p_type=VuoText _p=\"C:\\\\\" _p_other=\"a b\"];", {}},
      {node + "];\n" + node + "_p_type=VuoPoint2D];", {"1 portTypeMissing", "2 portTypeUnknown"}},
      {real + "_p=1,5 _p_suggestedMin=x _p_suggestedMax=\"1e3\" _p_suggestedStep=];",
       {"1 numberUnread", "1 numberUnread", "1 numberUnread"}},
      {node + "_p_type=VuoColor _p={r:-1,g:0,b:0,a:1}];", {"1 colorUnread"}},
      {node + "_p_type=VuoColor _p={r:1.2.3,g:0,b:0,a:1}];", {"1 numberUnread"}},
      {node + "_p_type=VuoPoint2d _p=\"{x:0.5, y:0.5}\"];", {"1 valueCutAtSpace", "1 pointUnread"}},
      {node + "_p_type=VuoBoolean _p=TRUE];", {"1 booleanUnread"}},
  };
  for (const auto& [text, problems] : cases) EXPECT_EQ(told(*reader.read(text)), problems) << text;

  const auto composition = reader.read(node + "_p_type=VuoReal _p=" + std::string(59, 'x') + "é];");
  EXPECT_EQ(composition->problems().at(0).text,
            "\"_p\" is \"" + std::string(59, 'x') + "…\", which is no number");
  std::string many;
  for (int i = 0; i < 1001; ++i) many += node + "];\n";
  EXPECT_EQ(reader.read(many)->problems().size(), 1000u);
}

TEST(CompositionPort, KeepsWhatItIsGiven) {
  EXPECT_EQ(ZQVuoCompositionPort::createWithPortType(ZQVuoPortType_Real, std::nullopt), nullptr);
  const auto odd = ZQVuoCompositionPort::createWithPortType(static_cast<ZQVuoPortType>(-9), "");
  EXPECT_EQ(odd->portType(), -9);
  EXPECT_EQ(odd->description(), "<ZQVuoCompPort, (null), >");
  const auto point = ZQVuoCompositionPort::createWithPortType(ZQVuoPortType_Point2D, "p");
  EXPECT_EQ(point->description(), "<ZQVuoCompPort, Point2D, p>");

  const auto value = std::make_shared<const ZQVuoPortValue>("text");
  point->setDefaultVal(value);
  EXPECT_EQ(point->defaultVal(), value);
  point->setDefaultVal(nullptr);
  EXPECT_EQ(value.use_count(), 1);
}

TEST(CompositionPort, GivesWholeValuesWhileTheyAreReplaced) {
  const auto port = ZQVuoCompositionPort::createWithPortType(ZQVuoPortType_Text, "p");
  std::atomic<bool> done = false;
  std::thread writer([&] {
    for (int i = 0; i < 20000; ++i) {
      port->setDefaultVal(std::make_shared<const ZQVuoPortValue>(std::string(50, 'a' + i % 26)));
      port->setMinVal(i % 2 ? std::optional(1.0) : std::nullopt);
    }
    done = true;
  });
  while (!done) {
    const auto value = port->defaultVal();
    const std::string text = value ? *value->stringValue() : "";
    ASSERT_EQ(text, std::string(text.size(), text[0]));
    ASSERT_EQ(port->minVal().value_or(1), 1);
  }
  writer.join();
}

TEST(PortValue, ConvertsNumbersAndTruth) {
  const struct {
    ZQVuoPortValue value;
    std::optional<double> number;
    std::optional<std::int64_t> integer;
    std::optional<bool> truth;
  } cases[] = {
      {-1.9, -1.9, -1, true},
      {1e300, 1e300, std::numeric_limits<std::int64_t>::max(), true},
      {-kInfinity, -kInfinity, std::numeric_limits<std::int64_t>::min(), true},
      {std::int64_t{9007199254740993}, 9007199254740992.0, 9007199254740993, true},
      {false, 0, 0, false},
      {"1", {}, {}, {}},
      {ZQVuoPoint{1, 1}, {}, {}, {}},
  };
  for (const auto& [value, number, integer, truth] : cases) {
    EXPECT_EQ(value.doubleValue(), number);
    EXPECT_EQ(value.longLongValue(), integer);
    EXPECT_EQ(value.boolValue(), truth);
  }
  EXPECT_EQ(ZQVuoPortValue(std::nan("")).longLongValue(), 0);
}

TEST(CompStringAdditions, TrimsOneQuoteAtEachEnd) {
  const std::pair<const char*, const char*> cases[] = {{"\"abc\"", "abc"}, {"\"abc", "abc"},
                                                       {"a\"b", "a\"b"},   {"\"\"a\"\"", "\"a\""},
                                                       {"\"", ""},         {"", ""}};
  for (const auto& [text, trimmed] : cases)
    EXPECT_EQ(stringByTrimmingQuotesFromEnds(text), trimmed);
}
