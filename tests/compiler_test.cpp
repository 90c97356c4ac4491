// The compiler: from a composition's text to a plan, and from a plan to an artefact.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <random>
#include <sstream>
#include <thread>

extern "C" {  // the header of glibc 2.36 does not say so itself
#include <sys/pidfd.h>
}

#include "Brannow/CompositionCheck.h"
#include "platform/system/FileDescriptor.h"
#include "runtime/HelperFolder.h"
#include "runtime/VuoArtefact.h"
#include "runtime/VuoCompiler.h"
#include "runtime/VuoPlan.h"
#include "runtime/VuoRunner.h"
#include "tests/TestSupport.h"
#include "tests/Waiting.h"

namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;

const char* const outputs =
    "PublishedOutputs [type=\"vuo.out\" label=\"O|<out>out\\l|<picture>picture\\l\" "
    "_out_type=\"VuoReal\" _picture_type=\"VuoImage\"];\n";
const char* const inputs =
    "PublishedInputs [type=\"vuo.in\" label=\"I|<a>a\\l|<color>color\\l\" _a_type=\"VuoReal\" "
    "_a=\"0.5\" _color_type=\"VuoColor\" _color=\"{r:1,g:.5,b:0,a:1}\"];\n";

std::string contentsOf(const std::string& path) {
  std::ostringstream contents;
  contents << std::ifstream(path, std::ios::binary).rdbuf();
  return contents.str();
}

class CompilerTest : public testing::Test {
 protected:
  void SetUp() override {
    write("plain.frag",
          "#version 330 core\nin vec2 uv;\nout vec4 pixel;\nuniform float gain;\n"
          "uniform sampler2D image;\nuniform bool unused;\nuniform int width;\n"
          "void main() { pixel = gain * texture(image, uv) / float(width); }\n");
    fs::copy_file(fs::path(COMPOSITIONS_DIR) / "picture.png", at("p.png"));
  }

  std::string at(const std::string& name) const { return _folder.path + "/" + name; }
  void write(const std::string& name, const std::string& contents) const {
    _folder.write(name, contents);
  }

  vuo::Plan planOf(const std::string& composition) const {
    write("test.vuo", composition);
    VuoCompiler().compileComposition(at("test.vuo"), at("test.bc"));
    return vuo::planFromText(vuo::planTextIn(contentsOf(at("test.bc"))));
  }
  /// The message of the fault that the function ends with.
  template <typename Function>
  static std::string faultOf(Function function) {
    try {
      function();
    } catch (const std::runtime_error& fault) {
      return fault.what();
    }
    return "no fault";
  }
  std::string faultIn(const std::string& body) const {
    return faultOf([&] { planOf("digraph G {\n" + body + "}\n"); });
  }

  TestFolder _folder;
};

TEST_F(CompilerTest, EveryFaultSaysWhereAndWhat) {
  write("old.frag", "void main() {}\n");
  write("rect.frag",
        "#version 330 core\nout vec4 p;\nuniform sampler2DRect r;\n"
        "void main() { p = texture(r, vec2(0.0)); }\n");
  write("broken.frag", "#version 330 core\nout vec4 p;\nvoid main() {\n  p = nothing;\n}\n");
  write("two.frag",
        "#version 330 core\nout vec4 p;\nout vec4 q;\nvoid main() { p = q = vec4(0.0); }\n");
  write("vec3.frag",
        "#version 330 core\nout vec4 p;\nuniform vec3 v;\nvoid main() { p.rgb = v; }\n");
  write("nogreeting.frag",
        "#version 330 core\nin vec3 uv;\nout vec4 p;\nvoid main() { p.rgb = uv; }\n");
  write("endless.frag", "#version 330 core\nout vec4 p;\nvoid main() { p = vec4(" +
                            std::string(20000, '(') + "1.0);}");
  write("fake.png", "no picture");

  const std::string sum = "S [type=\"vuo.expression\" expression=\"x+1\"];\n";
  const struct {
    std::string body, where, what;
  } cases[] = {
      {"A [\n", "test.vuo:3:1", "syntax error at }"},
      {"N [type=vuo.expression expression=\"1\"]\n", "test.vuo:2:12", "needs quotation marks"},
      {"N [type=\"vuo.expression\" expression=\"1]\n", "test.vuo:2:37", "has no \" at its end"},
      {"/* never closed", "test.vuo:3:1", "the graph has no }"},
      {"A;\n} digraph H {", "test.vuo:3:3", "text after the end"},
      {"A -> { B C }\n", "test.vuo:2:6", "no groups"},
      {"A, B -> C\n", "test.vuo:2:2", "one port at each end"},
      {sum + sum, "test.vuo:3:1", "\"S\" is declared twice, first in line 2"},
      {inputs + sum + "S:result -> T:x\n", "test.vuo:4:13", "node \"T\": is used but not declared"},
      {"\nN [type=\"vuo.magic\"]\n", "test.vuo:3:4", "unknown type \"vuo.magic\""},
      {"N [type=\"vuo.shadre\"]\n", "test.vuo:2:4", "did you mean \"vuo.shader\"?"},
      {"N [type=\"vuo.shader\"]\n", "test.vuo:2:1", "no attribute \"shader\""},
      {"N [type=\"vuo.shader\" shadr=\"plain.frag\"]\n", "test.vuo:2:1", "\"shadr\" looks as if"},
      {"N [type=\"vuo.shader\" shader=\"none.frag\"]\n", "test.vuo:2:29", "no file"},
      {"N [type=\"vuo.shader\" shader=\"old.frag\"]\n", "old.frag:1:1", "#version 330 core"},
      {"N [type=\"vuo.shader\" shader=\"rect.frag\"]\n", "rect.frag:3:23", "sampler2DRect"},
      {"N [type=\"vuo.shader\" shader=\"broken.frag\"]\n", "broken.frag:4:7", "'nothing'"},
      {"N [type=\"vuo.shader\" shader=\"two.frag\"]\n", "two.frag", "exactly one \"out vec4\""},
      {"N [type=\"vuo.shader\" shader=\"vec3.frag\"]\n", "vec3.frag:3:14", "no port carries"},
      {"N [type=\"vuo.shader\" shader=\"nogreeting.frag\"]\n", "nogreeting.frag:2:9", "in vec2 uv"},
      {"N [type=\"vuo.shader\" shader=\"endless.frag\"]\n", "endless.frag", "longer than"},
      {"N [type=\"vuo.shader\" shader=\"plain.frag\"]\n", "test.vuo:2:1",
       "input \"image\" needs a cable"},
      {"N [type=\"vuo.shader\" shader=\"plain.frag\" _gian=\"1\"]\n", "test.vuo:2:42",
       "did you mean \"gain\"?"},
      {"N [type=\"vuo.shader\" shader=\"plain.frag\" _gain=\"much\"]\n", "test.vuo:2:42",
       "\"much\" is no number"},
      {"N [type=\"vuo.image.file\" file=\"none.png\"]\n", "test.vuo:2:31", "no file"},
      {"N [type=\"vuo.image.file\" file=\"fake.png\"]\n", "test.vuo:2:31", "no PNG"},
      {"N [type=\"vuo.text\" _size=\"1\"]\n", "test.vuo:2:1", "\"width\" and \"height\" each need"},
      {"N [type=\"vuo.text\" text=\"a\" _width=\"8\"]\n", "test.vuo:2:20", "is written _text"},
      {"N [type=\"vuo.text\" _colour=\"{r:1,g:1,b:1,a:1}\"]\n", "test.vuo:2:20",
       "did you mean \"color\"?"},
      {"N [type=\"vuo.text\" _alignment=\"left\"]\n", "test.vuo:2:20",
       "there are start, center and end"},
      {"N [type=\"vuo.txt\"]\n", "test.vuo:2:4", "did you mean \"vuo.text\"?"},
      {"N [type=\"vuo.expression\" expression=\"1 + * 2\"]\n", "test.vuo:2:37", "at position 4"},
      {"N [type=\"vuo.expression\" expression=\"1, 2\"]\n", "test.vuo:2:37", "several results"},
      {"N [type=\"vuo.expression\" expression=\"sine(x)\" _x=\"1\"]\n", "test.vuo:2:37",
       "no function \"sine\"; did you mean \"sin\"?"},
      {sum, "test.vuo:2:1", "\"x\" in the expression has neither a cable nor a value"},
      {"PublishedInputs [type=\"vuo.in\" label=\"I|<a>a\"];\n", "test.vuo:2:32", "has no type"},
      {"PublishedInputs [type=\"vuo.in\" label=\"I|<a>|<a>\" _a_type=\"VuoReal\"];\n",
       "test.vuo:2:32", "port \"a\": there are two"},
      {"PublishedInputs [type=\"vuo.in\" label=\"I|<a>\" _a_type=\"VuoRael\"];\n", "test.vuo:2:46",
       "unknown type \"VuoRael\"; did you mean \"VuoReal\"?"},
      {"PublishedInputs [type=\"vuo.in\" label=\"I|<a>\" _a_type=\"VuoReal\" _a=\"one\"];\n",
       "test.vuo:2:64", "\"one\" is no number"},
      {inputs + std::string(outputs) + "PublishedInputs:color -> PublishedOutputs:out;\n",
       "test.vuo:4:1", "VuoColor does not fit a VuoReal"},
      {inputs + sum + "PublishedInputs:colour -> S:x;\n", "test.vuo:4:1",
       "no output \"colour\"; it has a, color; did you mean \"color\"?"},
      {inputs + sum + "PublishedInputs:a -> S:y;\n", "test.vuo:4:1", "no input \"y\"; it has x"},
      {inputs + sum + "PublishedInputs:a -> S;\n", "test.vuo:4:1", "does not name a port"},
      {inputs + sum + "PublishedInputs:a - S:x;\n", "test.vuo:4:19", "a cable is written"},
      {inputs + sum + "PublishedInputs:a -> S:x;\nPublishedInputs:a -> S:x;\n", "test.vuo:5:1",
       "another cable brings data"},
      {inputs + sum + "PublishedInputs:a -> S:x [event=yes];\n", "test.vuo:4:1",
       "neither true nor false"},
      {"A [type=\"vuo.expression\" expression=\"x\"];\nB [type=\"vuo.expression\" "
       "expression=\"x\"];\nA:result -> B:x;\nB:result -> A:x;\n",
       "test.vuo:2:1", "cycle: A -> B -> A"},
  };
  for (const auto& [body, where, what] : cases)
    EXPECT_THAT(faultIn(body), AllOf(HasSubstr(at(where) + ": "), HasSubstr(what))) << body;
  EXPECT_THAT(faultOf([] { VuoCompiler().compileComposition("/nowhere/x.vuo", "/nowhere/x.bc"); }),
              HasSubstr("/nowhere/x.vuo: there is no such file"));
}

/// Not the first fault alone, and none that only follows from another. What hosts can't read, and
/// what runs but does not do what was meant, is a warning.
TEST_F(CompilerTest, ACheckTellsAllThatIsWrong) {
  write("many.frag",
        "#version 330 core\nout vec4 p;\nuniform float a[2];\nuniform mat4 m;\n"
        "void main() { p = m * vec4(a[0]); }\n");
  const auto check = [&](const std::string& text) {
    write("test.vuo", text);
    std::string found;
    for (const auto& fault : brannow::checkComposition(at("test.vuo")))
      found += descriptionOf(fault).substr(_folder.path.size() + 1) + "\n";
    return found;
  };
  const std::string node =
      "[type=\"vuo.shader\" shader=\"many.frag\" _width=\"1\" _height=\"1\"];\n";
  EXPECT_EQ(
      check("\xef\xbb\xbf"
            "digraph G {\nA " +
            node + "B " + node +
            "C [type=\"vuo.expression\" expression=\"x + y\" _z=\"1\" _w=\"2\"];\n"
            "A:image -> D:image;\nC:result -> A:gain;\n}\n"),
      "test.vuo:1:1: the file begins with a byte order mark; save it as UTF-8 without one\n"
      "test.vuo:4:45: node \"C\": input \"z\": there is no such input to give a value to\n"
      "test.vuo:4:52: node \"C\": input \"w\": there is no such input to give a value to\n"
      "test.vuo:5:12: node \"D\": is used but not declared with a \"type\"\n"
      "many.frag:3:15: \"a\" is an array, which no port can carry\n"
      "many.frag:4:14: \"m\" has the type mat4, which no port carries; take float, int, bool, "
      "vec2, vec4 or sampler2D\n");
  const std::string head = "PublishedInputs [type=\"vuo.in\" ";
  EXPECT_EQ(
      check("digraph G {\n" + head +
            "label=\"I|<widht>|<title>\" _widht_type=\"VuoReal\" _title_type=\"VuoText\" "
            "_title=\"two words\"];\n  " +
            outputs +
            "PublishedInputs:widht -> "
            "PublishedOutputs:out;\n}\n"),
      "test.vuo:2:58: warning: port \"widht\" is none that hosts know; did you mean "
      "\"width\"?\n"
      "test.vuo:2:1: warning: \"_title\" is cut at a space and reads as \"two\"; hosts read it "
      "up to the first space, so write it without one\n"
      "test.vuo:3:96: warning: output \"picture\" has no cable, so nothing ever comes out of "
      "it; write NODE:PORT -> PublishedOutputs:picture\n"
      "test.vuo:3:1: warning: PublishedOutputs is not read: its line begins with white space; "
      "begin the line with the node's name\n");
  EXPECT_EQ(check("digraph G {\n}\n"), "");
}

TEST_F(CompilerTest, HostileTextIsAFaultAndLeavesNothingBehind) {
  std::string manyNames = "digraph G {";
  for (int i = 0; i < 40000; ++i)
    manyNames += "n" + std::to_string(i) + " [a" + std::to_string(i) + "=1]";
  const std::string texts[] = {
      "",
      std::string("digraph G {}\0", 13),
      "graph {}",
      "strict digraph { a -> a }",
      manyNames,
      "digraph " + std::string(100000, '{'),
      "\xff\xfe",
      "digraph G {} \"open",
      "#",
      "digraph G { a [b=<<<",
      "digraph G { a" + std::string(100000, '[') + "}",
  };
  for (const std::string& text : texts) {
    EXPECT_NE(faultOf([&] { planOf(text); }), "no fault") << text.substr(0, 80);
    EXPECT_EQ(faultOf([&] { planOf("digraph G {} /* never closed"); }), "no fault");
    EXPECT_EQ(faultOf([&] { planOf("digraph G {}"); }), "no fault") << text.substr(0, 80);
  }
}

TEST_F(CompilerTest, ACompositionNamesFilesInItsFolderOrBelow) {
  fs::create_directory(at("sub"));
  fs::create_directory(at("sub/deep"));
  for (const char* copy : {"sub/p.png", "sub/deep/p.png"}) fs::copy_file(at("p.png"), at(copy));
  fs::create_symlink("deep/p.png", at("sub/within.png"));
  fs::create_symlink("../p.png", at("sub/out.png"));
  fs::create_symlink("..", at("sub/up"));
  ASSERT_EQ(mkfifo(at("sub/fifo.png").c_str(), 0600), 0);
  const auto faultWith = [&](const std::string& file) {
    write("sub/test.vuo", "digraph G { N [type=\"vuo.image.file\" file=\"" + file + "\"] }");
    return faultOf([&] { VuoCompiler().compileComposition(at("sub/test.vuo"), at("test.bc")); });
  };
  for (const char* good : {"p.png", "./deep/p.png", "within.png", "deep/../p.png"})
    EXPECT_EQ(faultWith(good), "no fault") << good;
  for (const std::string& bad : {std::string("../p.png"), at("sub/p.png"), std::string("out.png"),
                                 std::string("up/p.png"), std::string("/proc/self/exe")})
    EXPECT_THAT(faultWith(bad), AllOf(HasSubstr("leads out"), HasSubstr("put the file there")));
  for (const char* bad : {"fifo.png", "deep", "."})
    EXPECT_THAT(faultWith(bad), HasSubstr("no regular file")) << bad;
  EXPECT_THAT(faultOf([&] { VuoCompiler().compileComposition(at("sub/fifo.png"), at("test.bc")); }),
              HasSubstr("there is no such file"));
}

/// Macros that stand for each other twice, `levels` times over.
std::string doubled(const std::string& innermost, int levels) {
  std::string text = "#define m0 " + innermost + "\n";
  for (int i = 1; i <= levels; ++i) {
    const std::string below = " m" + std::to_string(i - 1);
    text += "#define m" + std::to_string(i) + below + below + "\n";
  }
  return text;
}

std::string repeated(const std::string& text, int count) {
  std::string all;
  while (count-- > 0) all += text;
  return all;
}

constexpr const char* shaderHead = "#version 330 core\nout vec4 p;\n";
const char* const shaderNode =
    "N [type=\"vuo.shader\" shader=\"x.frag\" _width=\"4\" _height=\"4\"]\n";
/// Keeps the preprocessor busy without taking memory.
const std::string endlessShader =
    shaderHead + doubled("+1", 60) + "#if 0 m60\n#endif\nvoid main() { p = vec4(1); }\n";

TEST_F(CompilerTest, ShadersMadeToBreakACompilerAreFaults) {
  const struct {
    std::string body, what;
  } cases[] = {
      {doubled("(", 17) + "void main() { p = vec4(m17 1.0); }", "longer than 16 KiB"},
      {"void main() { p = vec4(" + repeated("/*;*/(", 20000) + "1.0" + repeated(")", 20000) +
           "); }",
       "longer than 16 KiB"},
      {"void main() {" + repeated("if (true) ", 20000) + "p = vec4(1.0); }", "longer than 16 KiB"},
      {"void main() {" + repeated("{", 50000) + repeated("}", 50000) + "}", "x.frag"},
      {repeated("#if 1\n", 5000) + "void main() {}", "x.frag"},
      {"uniform struct T { int i; } t;\nvoid main() { p = vec4(1.0); }", "no port carries"},
      {"layout(std140) uniform B { vec4 v; };\nvoid main() { p = v; }", "\"B\""},
      {"uniform float a, b[2];\nvoid main() { p = vec4(b[0]); }", "\"b\" is an array"},
      {"layout(location = 1) out vec4 q;\nvoid main() { p = q = vec4(1.0); }",
       "\"q\" is no output"},
      {"flat in vec2 uv;\nvoid main() { p = uv.xyxy; }", "\"uv\""},
  };
  for (const auto& [body, what] : cases) {
    write("x.frag", shaderHead + body);
    EXPECT_THAT(faultIn(shaderNode), AllOf(HasSubstr(at("x.frag:")), HasSubstr(what)))
        << body.substr(0, 60);
  }
  write("x.frag", "#version 330 core\n" + std::string("#define IN uniform float\n") +
                      "IN a = float(1), c; /* uniform float d; */ uniform highp vec2 e;\n"
                      "layout(location = 0) out vec4 p; smooth in vec2 uv; in vec4 gl_FragCoord;\n"
                      "void f(in vec2 x, out vec4 y) { y = x.xyxy; }\nvoid main() { f(uv, p); }");
  std::vector<std::string> names;
  const vuo::Plan plan = planOf("digraph G {\n" + std::string(shaderNode) + "}");
  for (const vuo::Port& port : plan.nodes[0].inputs) names.push_back(port.name);
  EXPECT_THAT(names, ElementsAre("width", "height", "a", "c", "e"));
}

TEST_F(CompilerTest, AnEndlessCompileIsEnded) {
  // The limit is lower where the host's own is.
  rlimit before{};
  getrlimit(RLIMIT_CPU, &before);
  const rlimit lowered{2, before.rlim_max};
  setrlimit(RLIMIT_CPU, &lowered);
  write("x.frag", endlessShader);
  const std::string fault = faultIn(shaderNode);
  setrlimit(RLIMIT_CPU, &before);
  EXPECT_THAT(fault, AllOf(HasSubstr(at("test.vuo")), HasSubstr("s of processor time")));
}

std::vector<pid_t> childrenOf(const std::string& process) {
  std::vector<pid_t> found;
  std::error_code gone;
  for (fs::directory_iterator thread("/proc/" + process + "/task", gone), end; thread != end;
       thread.increment(gone)) {
    std::ifstream list(thread->path() / "children");
    for (pid_t child; list >> child;) found.push_back(child);
  }
  return found;
}

/// The process of the compile that is under way, and the program that made it.
struct Compiling {
  pid_t program, process;
  static Compiling now() {
    Compiling compiling{};
    lookUntil([&] {
      for (const pid_t parent : childrenOf("self"))
        for (const pid_t child : childrenOf(std::to_string(parent))) compiling = {parent, child};
      return compiling.process != 0;
    });
    return compiling;
  }
};

/// How often is told by BRANNOW_STRESS.
TEST_F(CompilerTest, ACompilerThatIsKilledIsAFaultAndLeavesNothing) {
  const char* const stress = std::getenv("BRANNOW_STRESS");
  write("x.frag", endlessShader);
  write("endless.vuo", "digraph G {\n" + std::string(shaderNode) + "}\n");
  for (int left = stress ? std::atoi(stress) : 2; left > 0; --left) {
    const auto compile = [&] {
      return std::async(std::launch::async, [&] {
        return faultOf([&] { VuoCompiler().compileComposition(at("endless.vuo"), at("x.bc")); });
      });
    };
    auto fault = compile();
    kill(Compiling::now().process, SIGKILL);
    EXPECT_THAT(fault.get(), AllOf(HasSubstr(at("endless.vuo")), HasSubstr("signal 9")));

    fault = compile();
    const Compiling first = Compiling::now();
    const platform::FileDescriptor orphan(pidfd_open(first.process, 0));
    kill(first.program, SIGKILL);
    pollfd ended{orphan.get(), POLLIN, 0};
    EXPECT_EQ(poll(&ended, 1, 10000), 1);
    Compiling second = Compiling::now();
    while (second.program == first.program) second = Compiling::now();
    kill(second.program, SIGKILL);
    EXPECT_THAT(fault.get(), AllOf(HasSubstr(at("endless.vuo")), HasSubstr("ended twice")));

    planOf("digraph G {}");
    EXPECT_EQ(childrenOf("self").size(), 1u);
    EXPECT_FALSE(fs::exists(at("x.bc")));
  }
}

TEST_F(CompilerTest, NodesStandBehindWhatTheyDependOn) {
  const vuo::Plan plan =
      planOf("digraph G {\n" + std::string(inputs) + outputs +
             "Free [type=\"vuo.expression\" expression=\"2\"];\n"
             "Last [type=\"vuo.shader\" shader=\"plain.frag\" _width=\"-4\" _gain=\"-.5\"];\n"
             "Sum [type=\"vuo.expression\" expression=\"x*y\" _y=\"1e3\"];\n"
             "First [type=\"vuo.shader\" shader=\"plain.frag\"];\n"
             "File [type=\"vuo.image.file\" file=\"p.png\"];\n"
             "First:image -> Last:image;\n File:image -> First:image; Sum:result -> First:width;\n"
             "PublishedInputs:a -> Sum:x; PublishedInputs:color -> Sum:x [event=true];\n"
             "Last:image -> PublishedOutputs:picture; Sum:result -> PublishedOutputs:out;\n}\n");

  std::vector<std::string> names;
  for (const vuo::Node& node : plan.nodes) names.push_back(node.name);
  EXPECT_THAT(names, ElementsAre("Free", "Sum", "File", "First", "Last"));
  EXPECT_EQ(plan.publishedInputs[1].constant, R"({"r":1,"g":0.5,"b":0,"a":1})");

  // The size comes first, then the uniforms as they are declared; "width" is both.
  const vuo::Node& first = plan.nodes[3];
  ASSERT_EQ(first.inputs.size(), 6u);
  for (const int width : {0, 5}) {
    EXPECT_EQ(first.inputs[width].name, "width");
    ASSERT_EQ(first.inputs[width].cables.size(), 1u);
    EXPECT_EQ(first.inputs[width].cables[0].source.node, 1);
  }
  EXPECT_EQ(first.inputs[1].constant, "");
  EXPECT_EQ(first.inputs[2].constant, "0");
  EXPECT_EQ(first.inputs[4].constant, "false");
  EXPECT_EQ(plan.nodes[4].inputs[2].constant, "-0.5");
  EXPECT_EQ(plan.nodes[1].inputs[1].constant, "1000");
  EXPECT_TRUE(plan.nodes[1].inputs[0].cables[1].eventOnly);
  EXPECT_EQ(plan.publishedOutputs[1].cables[0].source.node, 4);
}

TEST_F(CompilerTest, APlanThatIsWrongInItselfIsRefused) {
  vuo::Plan wild = planOf("digraph G {\n" + std::string(inputs) + "}");
  const std::string sound = vuo::serialized(wild);
  wild.publishedOutputs = {{"out", vuo::Type::Real, "", {{{0, 0}, false}}}};
  for (const std::string& bad :
       {vuo::serialized(wild), std::string("{}"), std::string("["),
        std::string("{\"files\":[{}]}\n{}"), std::string("{\"files\":[]}\n["),
        sound.substr(0, sound.rfind('\n')), sound.substr(0, sound.rfind('\n')) + R"(
{"nodes":[{"name":"t","kind":"text","inputs":[],"outputs":[],"body":""}]})"})
    EXPECT_THAT(faultOf([&] { vuo::planFromText(bad); }), HasSubstr("no compiled composition"));
}

/// How many changed artefacts of each kind are tried is told by BRANNOW_STRESS.
TEST_F(CompilerTest, AnArtefactThatWasChangedIsRefused) {
  const char* const stress = std::getenv("BRANNOW_STRESS");
  const int count = stress ? std::atoi(stress) : 100;
  VuoCompiler compiler;
  compiler.compileComposition(std::string(COMPOSITIONS_DIR) + "/tiles.vuo", at("t.bc"));
  compiler.linkCompositionToCreateDynamicLibrary(at("t.bc"), at("lib"),
                                                 VuoCompiler::Optimization_FastBuild);
  compiler.linkCompositionToCreateExecutable(at("t.bc"), at("exe"),
                                             VuoCompiler::Optimization_FastRun, false, "");
  const auto open = [&](const std::string& name, const std::string& contents) {
    write(name, contents);
    return faultOf([&] {
      delete (name == "exe" ? VuoRunner::newSeparateProcessRunnerFromExecutable(
                                  at(name), _folder.path, false, false)
                            : VuoRunner::newCurrentProcessRunnerFromDynamicLibrary(
                                  at(name), _folder.path, false));
    });
  };
  std::mt19937 random(1);
  for (const char* kind : {"lib", "exe"}) {
    const std::string good = contentsOf(at(kind));
    EXPECT_EQ(open(kind, good), "no fault");
    for (int i = 0; i < count; ++i) {
      std::string bad = good;
      const std::size_t place = random() % good.size(), other = random() % good.size();
      const int change = i % 4;
      // Half of the changes are near the beginning, where the head is.
      const std::size_t at = i % 8 < 4 ? place : place % 120;
      if (change == 0) bad[at] = static_cast<char>(bad[at] ^ (1 << random() % 8));
      if (change == 1) bad.resize(at);
      if (change == 2) bad.insert(at, 1, static_cast<char>(random()));
      if (change == 3) bad.erase(at, 1 + other % 40);
      EXPECT_THAT(open(kind, bad), HasSubstr("no compiled composition")) << kind << " " << i;
    }
    std::string older = good;
    older.replace(good.find("VuoPlan ") + 8, 1, "1");
    EXPECT_THAT(open(kind, older), HasSubstr("another format"));
    write(kind, good);
  }
}

TEST_F(CompilerTest, WhateverLiesAtTheBitcodePathIsNotUsed) {
  write("victim", "precious");
  write("test.vuo", "digraph G {}");
  const std::string bitcode = at("0123456789ABCDEF0123456789ABCDEF.bc"), victim = at("victim");
  VuoCompiler compiler;
  const auto link = [&] {
    compiler.linkCompositionToCreateDynamicLibrary(bitcode, at("lib"),
                                                   VuoCompiler::Optimization_FastBuild);
  };
  EXPECT_THAT(faultOf(link), HasSubstr("nothing that was compiled"));
  const std::function<void()> others[] = {
      [&] { ASSERT_EQ(symlink(victim.c_str(), bitcode.c_str()), 0); },
      [&] { ASSERT_EQ(::link(victim.c_str(), bitcode.c_str()), 0); },
      [&] { ASSERT_EQ(mkfifo(bitcode.c_str(), 0600), 0); },
      [&] { ASSERT_EQ(mkdir(bitcode.c_str(), 0700), 0); },
  };
  for (const auto& other : others) {
    fs::remove(bitcode);
    other();
    EXPECT_EQ(faultOf([&] { compiler.compileComposition(at("test.vuo"), bitcode); }), "no fault");
    EXPECT_EQ(faultOf(link), "no fault");
    EXPECT_EQ(contentsOf(victim), "precious");
  }
  fs::remove(bitcode);
  compiler.compileComposition(at("test.vuo"), bitcode);
  struct stat status;
  ASSERT_EQ(stat(bitcode.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777u, 0600u);
  write(fs::path(bitcode).filename(), "another process's");
  EXPECT_EQ(faultOf(link), "no fault");
  EXPECT_THAT(contentsOf(at("lib")), HasSubstr("test.vuo"));
  EXPECT_THAT(faultOf([&] { compiler.compileComposition(at("none.vuo"), bitcode); }),
              HasSubstr("no such file"));
  EXPECT_THAT(faultOf(link), HasSubstr("nothing that was compiled"));
}

TEST_F(CompilerTest, BitcodeIsRemovedWhenItIsADayOld) {
  const std::string digits(32, 'A');
  const struct {
    std::string name;
    bool isOld, goes;
  } files[] = {{digits + ".bc", true, true},
               {digits + ".bc.aB3xyz", true, true},
               {digits.substr(1) + "B.bc", false, false},
               {digits.substr(1) + ".bc", true, false},
               {digits + ".bcx", true, false},
               {digits + ".bc.aB3xyzz", true, false}};
  write("test.vuo", "digraph G {}");
  for (const auto& file : files) {
    write(file.name, "");
    timespec time = modificationTimeOf(at(file.name));
    if (file.isOld) time.tv_sec -= 25 * 60 * 60;
    setModificationTime(at(file.name), time);
  }
  VuoCompiler().compileComposition(at("test.vuo"), at("0123456789ABCDEF0123456789ABCDEF.bc"));
  for (const auto& file : files) EXPECT_EQ(fs::exists(at(file.name)), !file.goes) << file.name;
}

TEST_F(CompilerTest, NamesTheFilesThatItReadAlsoWhereOneIsWrong) {
  const std::string rest =
      "P [type=\"vuo.image.file\" file=\"p.png\"];\n"
      "A [type=\"vuo.shader\" shader=\"plain.frag\"];\nP:image -> A:image;\n"
      "B [type=\"vuo.shader\" shader=\"plain.frag\"];\nP:image -> B:image;\n";
  const vuo::Plan plan = planOf("digraph G {\n" + rest + "}\n");
  ASSERT_EQ(plan.files.size(), 2u);
  EXPECT_EQ(plan.files[0].name, "p.png");
  EXPECT_EQ(plan.files[1].name, "plain.frag");
  EXPECT_TRUE(vuo::areUnchanged(plan.files, _folder.path));
  for (const vuo::SourceFile& file : plan.files) {
    const std::vector<vuo::SourceFile> one{file};
    const timespec time = modificationTimeOf(at(file.name));
    setModificationTime(at(file.name), {time.tv_sec, time.tv_nsec ^ 1});
    EXPECT_FALSE(vuo::areUnchanged(one, _folder.path)) << "another date";
    setModificationTime(at(file.name), time);
    EXPECT_TRUE(vuo::areUnchanged(one, _folder.path));
    fs::resize_file(at(file.name), fs::file_size(at(file.name)) - 1);
    setModificationTime(at(file.name), time);
    EXPECT_FALSE(vuo::areUnchanged(one, _folder.path)) << "another size";
    fs::remove(at(file.name));
    EXPECT_FALSE(vuo::areUnchanged(one, _folder.path)) << "gone";
    fs::create_directory(at(file.name));
    EXPECT_FALSE(vuo::areUnchanged(one, _folder.path)) << "a folder";
  }

  write("faulty.vuo",
        "digraph G {\n" + rest + "C [type=\"vuo.shader\" shader=\"none.frag\"];\n}\n");
  VuoCompiler compiler;
  EXPECT_NE(faultOf([&] { compiler.compileComposition(at("faulty.vuo"), at("test.bc")); }),
            "no fault");
  EXPECT_THAT(compiler.filesNamed(), ElementsAre(at("none.frag"), at("p.png"), at("plain.frag")));
}

TEST_F(CompilerTest, ALinkReplacesTheArtefactWhole) {
  VuoCompiler compiler;
  const auto link = [&](const std::string& composition, const std::string& target) {
    write("test.vuo", composition);
    compiler.compileComposition(at("test.vuo"), at("test.bc"));
    compiler.linkCompositionToCreateExecutable(at("test.bc"), target,
                                               VuoCompiler::Optimization_FastRun, false, "");
  };
  const auto inputsIn = [](int file) {
    return vuo::planFromText(vuo::planTextIn(file)).publishedInputs.size();
  };
  link("digraph Old {}", at("exe"));
  const platform::FileDescriptor running(open(at("exe").c_str(), O_RDONLY | O_CLOEXEC));
  link("digraph New {\n" + std::string(inputs) + "}", at("exe"));
  const platform::FileDescriptor fresh(open(at("exe").c_str(), O_RDONLY | O_CLOEXEC));
  EXPECT_EQ(inputsIn(running.get()), 0u);
  EXPECT_EQ(inputsIn(fresh.get()), 2u);
  struct stat status;
  EXPECT_EQ(fstat(fresh.get(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777u, 0755u);
  EXPECT_THAT(contentsOf(at("exe")),
              testing::StartsWith("#!" + vuo::helperFolder() + "/vuo-player\n"));

  EXPECT_THAT(faultOf([&] { link("digraph G {}", at("missing/exe")); }), HasSubstr("No such file"));
  EXPECT_EQ(std::distance(fs::directory_iterator(_folder.path), {}), 5);  // nothing left over
}

TEST_F(CompilerTest, TheSamplesCompile) {
  for (const auto& entry : fs::directory_iterator(COMPOSITIONS_DIR))
    if (entry.path().extension() == ".vuo")
      VuoCompiler().compileComposition(entry.path(), at("sample.bc"));
}

}  // namespace
