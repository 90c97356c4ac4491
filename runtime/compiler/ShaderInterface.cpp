#include "runtime/compiler/ShaderInterface.h"

#include <glslang/Public/ResourceLimits.h>
#include <glslang/Public/ShaderLang.h>

#include <algorithm>
#include <cstdlib>
#include <optional>
#include <sstream>
#include <stdexcept>

#include "runtime/compiler/ShaderDeclarations.h"

namespace vuo {
namespace {

constexpr const char* shaderName = "shader";

/// One line of the checker's: "shader:12: 'x' : undeclared identifier".
FaultAt faultOf(const std::string& source, const std::string& line) {
  const std::string mark = std::string(shaderName) + ":";
  const int number = line.starts_with(mark) ? std::atoi(line.c_str() + mark.size()) : 0;
  const std::size_t end = number > 0 ? line.find(": ", mark.size()) : line.npos;
  const std::string what = end == line.npos ? line : line.substr(end + 2);
  const std::size_t quote = what.find('\'', 1);
  const std::string word =
      what.starts_with('\'') && quote != what.npos ? what.substr(1, quote - 1) : "";
  return {number > 0 ? placeOf(source, word, number) : Place{}, what};
}

/// What the checker calls errors, without what it says of itself.
std::vector<FaultAt> faultsIn(const std::string& log, const std::string& source) {
  const std::string mark = "ERROR: ";
  std::vector<FaultAt> faults;
  std::istringstream lines(log);
  for (std::string line; std::getline(lines, line);)
    if (line.starts_with(mark) && line.find("No code generated") == line.npos &&
        line.find("compilation terminated") == line.npos)
      faults.push_back(faultOf(source, line.substr(mark.size())));
  if (faults.empty()) faults.push_back({{}, "the shader can't be compiled"});
  return faults;
}

/// Drivers walk an expression's tree by recursion, so its depth is kept within any thread's stack.
bool hasLongStatement(const std::string& preprocessed) {
  constexpr std::size_t longest = 16 << 10;
  for (std::size_t begin = 0; begin < preprocessed.size();) {
    const std::size_t end = std::min(preprocessed.find_first_of(";{}", begin), preprocessed.size());
    if (end - begin > longest) return true;
    begin = end + 1;
  }
  return false;
}

/// The shader's version is checked apart, since a shader without one is taken for an old one.
constexpr int versionWhenNoneIsGiven = 110;

/// One look at a shader, whose text must stay meanwhile.
class Shader {
 public:
  explicit Shader(const std::string& source)
      : _text(source.c_str()), _length(static_cast<int>(source.size())) {
    _shader.setStringsWithLengthsAndNames(&_text, &_length, &shaderName, 1);
  }

  /// The text with its macros written out and its comments left out; none where that fails.
  std::optional<std::string> preprocessed() {
    std::string text;
    glslang::TShader::ForbidIncluder noIncludes;
    if (!_shader.preprocess(GetDefaultResources(), versionWhenNoneIsGiven, ENoProfile, false, false,
                            EShMsgDefault, &text, noIncludes))
      return std::nullopt;
    return text;
  }

  bool isRight() {
    if (!_shader.parse(GetDefaultResources(), versionWhenNoneIsGiven, false, EShMsgDefault))
      return false;
    glslang::TProgram program;  // goes before the shader that is linked into it
    program.addShader(&_shader);
    const bool isLinked = program.link(EShMsgDefault);
    if (!isLinked) _linkLog = program.getInfoLog();
    return isLinked;
  }

  std::string log() { return _linkLog.empty() ? _shader.getInfoLog() : _linkLog; }

 private:
  const char* _text;
  int _length;
  std::string _linkLog;
  glslang::TShader _shader{EShLangFragment};
};

bool isVersion330Core(const std::string& preprocessed) {
  const std::string line = preprocessed.substr(0, preprocessed.find('\n'));
  return line == "#version 330 core" || line == "#version 330";
}

bool has(const ShaderVariable& variable, const std::string& qualifier) {
  return std::any_of(variable.qualifiers.begin(), variable.qualifiers.end(),
                     [&](const std::string& one) { return one.starts_with(qualifier); });
}

Type typeOfUniform(const ShaderVariable& uniform) {
  const std::string& type = uniform.type;
  const bool isSize = uniform.name == "width" || uniform.name == "height";
  if (isSize && type != "int" && type != "float")
    throw std::runtime_error("is the picture's size, an int or a float");
  if (uniform.isArray) throw std::runtime_error("is an array, which no port can carry");
  if (type == "float") return Type::Real;
  if (type == "int") return Type::Integer;
  if (type == "bool") return Type::Boolean;
  if (type == "vec2") return Type::Point2d;
  if (type == "vec4") return Type::Color;
  if (type == "sampler2D") return Type::Image;
  if (type == "sampler2DRect")
    throw std::runtime_error(
        "is a sampler2DRect; images come as sampler2D, with coordinates 0 to 1");
  if (type.find("sampler") != type.npos)
    throw std::runtime_error("is a sampler that no image fits; images come as sampler2D");
  throw std::runtime_error("has the type " + type +
                           ", which no port carries; take float, int, bool, vec2, vec4 or "
                           "sampler2D");
}

void checkInput(const ShaderVariable& input) {
  if (input.name != "uv" || input.type != "vec2" || input.isArray || has(input, "flat") ||
      has(input, "noperspective") || has(input, "centroid") || has(input, "layout"))
    throw std::runtime_error("is declared \"in\"; the only such variable there is: in vec2 uv");
}

void checkOutput(const ShaderVariable& output) {
  const bool isFirst = !has(output, "layout") || has(output, "layout(location=0)");
  if (output.type != "vec4" || output.isArray || !isFirst)
    throw std::runtime_error("is no output for a picture, which is an \"out vec4\"");
}

/// Sorts the shader's global variables into uniforms and outputs.
struct Variables {
  std::vector<Port> uniforms;
  int outputs = 0;

  void add(const ShaderVariable& variable) {
    if (variable.name.starts_with("gl_")) return;
    if (variable.storage == "in") checkInput(variable);
    if (variable.storage == "uniform")
      uniforms.push_back({variable.name, typeOfUniform(variable), "", {}});
    if (variable.storage == "out") {
      checkOutput(variable);
      ++outputs;
    }
  }
};

void takeVariables(const std::string& source, const std::string& preprocessed,
                   ShaderInterface& interface) {
  Variables variables;
  for (const ShaderVariable& variable : declarationsIn(preprocessed)) try {
      variables.add(variable);
    } catch (const std::runtime_error& fault) {
      interface.faults.push_back(
          {placeOf(source, variable.name), "\"" + variable.name + "\" " + fault.what()});
    }
  if (variables.outputs != 1)
    interface.faults.push_back({{},
                                "exactly one \"out vec4\" takes the picture; there are " +
                                    std::to_string(variables.outputs)});
  interface.uniforms = std::move(variables.uniforms);
}

}  // namespace

void prepareShaderCheck() {
  interfaceOf("#version 330 core\nout vec4 pixel;\nvoid main() {}\n");
}

ShaderInterface interfaceOf(const std::string& source) {
  // Never taken down again: the process ends with the compile.
  [[maybe_unused]] static const bool initialized = glslang::InitializeProcess();

  Shader first(source);
  const auto preprocessed = first.preprocessed();
  if (!preprocessed) return {faultsIn(first.log(), source), {}};
  if (!isVersion330Core(*preprocessed))
    return {{{{1, 1}, "the shader does not begin with \"#version 330 core\""}}, {}};
  if (hasLongStatement(*preprocessed)) return {{{{}, "a statement is longer than 16 KiB"}}, {}};
  Shader second(source);
  if (!second.isRight()) return {faultsIn(second.log(), source), {}};
  ShaderInterface interface;
  takeVariables(source, *preprocessed, interface);
  return interface;
}

}  // namespace vuo
