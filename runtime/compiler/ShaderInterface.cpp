#include "runtime/compiler/ShaderInterface.h"

#include <glslang/Public/ResourceLimits.h>
#include <glslang/Public/ShaderLang.h>

#include <algorithm>
#include <stdexcept>

#include "runtime/compiler/ShaderDeclarations.h"

namespace vuo {
namespace {

/// "ERROR: plasma.frag:12: 'x' : undeclared identifier" without its first word.
std::string firstFault(const std::string& log) {
  const std::string mark = "ERROR: ";
  const std::size_t begin = log.find(mark);
  if (begin == log.npos) return "the shader can't be compiled";
  return log.substr(begin + mark.size(), log.find('\n', begin) - begin - mark.size());
}

/// Drivers walk an expression's tree by recursion, so its depth is kept within any thread's stack.
void checkStatementLengths(const std::string& preprocessed, const std::string& fileName) {
  constexpr std::size_t longest = 16 << 10;
  for (std::size_t begin = 0; begin < preprocessed.size();) {
    const std::size_t end = std::min(preprocessed.find_first_of(";{}", begin), preprocessed.size());
    if (end - begin > longest)
      throw std::runtime_error(fileName + ": a statement is longer than 16 KiB");
    begin = end + 1;
  }
}

/// The shader's version is checked apart, since a shader without one is taken for an old one.
constexpr int versionWhenNoneIsGiven = 110;

/// One look at a shader, whose texts must stay meanwhile.
class Shader {
 public:
  Shader(const std::string& source, const std::string& fileName)
      : _text(source.c_str()), _length(static_cast<int>(source.size())), _name(fileName.c_str()) {
    _shader.setStringsWithLengthsAndNames(&_text, &_length, &_name, 1);
  }

  /// The text with its macros written out and its comments left out.
  std::string preprocessed() {
    std::string text;
    glslang::TShader::ForbidIncluder noIncludes;
    if (!_shader.preprocess(GetDefaultResources(), versionWhenNoneIsGiven, ENoProfile, false, false,
                            EShMsgDefault, &text, noIncludes))
      throw std::runtime_error(firstFault(_shader.getInfoLog()));
    return text;
  }

  void check(const std::string& fileName) {
    if (!_shader.parse(GetDefaultResources(), versionWhenNoneIsGiven, false, EShMsgDefault))
      throw std::runtime_error(firstFault(_shader.getInfoLog()));
    glslang::TProgram program;  // goes before the shader that is linked into it
    program.addShader(&_shader);
    if (!program.link(EShMsgDefault))
      throw std::runtime_error(fileName + ": " + firstFault(program.getInfoLog()));
  }

 private:
  const char* _text;
  int _length;
  const char* _name;
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

std::vector<Port> uniformsIn(const std::string& preprocessed) {
  Variables variables;
  for (const ShaderVariable& variable : declarationsIn(preprocessed)) try {
      variables.add(variable);
    } catch (const std::runtime_error& fault) {
      throw std::runtime_error("\"" + variable.name + "\" " + fault.what());
    }
  if (variables.outputs != 1)
    throw std::runtime_error("exactly one \"out vec4\" takes the picture; there are " +
                             std::to_string(variables.outputs));
  return std::move(variables.uniforms);
}

}  // namespace

void prepareShaderCheck() {
  uniformsOfShader("#version 330 core\nout vec4 pixel;\nvoid main() {}\n", "");
}

std::vector<Port> uniformsOfShader(const std::string& source, const std::string& fileName) {
  // Never taken down again: the process ends with the compile.
  [[maybe_unused]] static const bool initialized = glslang::InitializeProcess();

  const std::string preprocessed = Shader(source, fileName).preprocessed();
  if (!isVersion330Core(preprocessed))
    throw std::runtime_error(fileName + " does not begin with \"#version 330 core\"");
  checkStatementLengths(preprocessed, fileName);
  Shader(source, fileName).check(fileName);
  try {
    return uniformsIn(preprocessed);
  } catch (const std::runtime_error& fault) {
    throw std::runtime_error(fileName + ": " + fault.what());
  }
}

}  // namespace vuo
