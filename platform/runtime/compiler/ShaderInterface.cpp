#include "platform/runtime/compiler/ShaderInterface.h"

#include <glslang/MachineIndependent/localintermediate.h>
#include <glslang/Public/ResourceLimits.h>
#include <glslang/Public/ShaderLang.h>

#include <algorithm>
#include <stdexcept>

namespace vuo {
namespace {

using glslang::TIntermediate;
using glslang::TQualifier;
using glslang::TSampler;
using glslang::TType;

/// "ERROR: plasma.frag:12: 'x' : undeclared identifier" without its first word.
std::string firstFault(const std::string& log) {
  const std::string mark = "ERROR: ";
  const std::size_t begin = log.find(mark);
  if (begin == log.npos) return "the shader can't be compiled";
  return log.substr(begin + mark.size(), log.find('\n', begin) - begin - mark.size());
}

/// Compilers walk an expression's tree by recursion, so its depth is kept within any thread's
/// stack.
void checkStatementLengths(const std::string& source, const std::string& fileName) {
  constexpr std::size_t longest = 16 << 10;
  for (std::size_t begin = 0; begin < source.size();) {
    const std::size_t end = std::min(source.find_first_of(";{}", begin), source.size());
    if (end - begin > longest)
      throw std::runtime_error(fileName + ": a statement is longer than 16 KiB");
    begin = end + 1;
  }
}

/// The shader's version is checked apart, since a shader without one is taken for an old one.
constexpr int versionWhenNoneIsGiven = 110;

void parse(glslang::TShader& shader, const std::string& fileName) {
  const bool parsed =
      shader.parse(GetDefaultResources(), versionWhenNoneIsGiven, false, EShMsgDefault);
  const TIntermediate& code = *shader.getIntermediate();
  if (code.getVersion() != 330 || code.getProfile() != ECoreProfile)
    throw std::runtime_error(fileName + " does not begin with \"#version 330 core\"");
  if (!parsed) throw std::runtime_error(firstFault(shader.getInfoLog()));
}

Type typeOfSampler(const TSampler& sampler) {
  if (sampler.dim == glslang::EsdRect)
    throw std::runtime_error(
        "is a sampler2DRect; images come as sampler2D, with coordinates 0 to 1");
  if (sampler.dim != glslang::Esd2D || sampler.type != glslang::EbtFloat || sampler.arrayed ||
      sampler.shadow || sampler.isMultiSample())
    throw std::runtime_error("is a sampler that no image fits; images come as sampler2D");
  return Type::Image;
}

Type typeOfUniform(const TType& type) {
  if (type.isArray() || type.isMatrix() || type.isStruct())
    throw std::runtime_error("is an array, a matrix or a structure, which no port can carry");
  const glslang::TBasicType basic = type.getBasicType();
  if (basic == glslang::EbtSampler) return typeOfSampler(type.getSampler());
  const int size = type.getVectorSize();
  if (basic == glslang::EbtFloat && size == 1) return Type::Real;
  if (basic == glslang::EbtInt && size == 1) return Type::Integer;
  if (basic == glslang::EbtBool && size == 1) return Type::Boolean;
  if (basic == glslang::EbtFloat && size == 2) return Type::Point2d;
  if (basic == glslang::EbtFloat && size == 4) return Type::Color;
  throw std::runtime_error(
      "has the type " + std::string(type.getBasicTypeString().c_str()) +
      (size > 1 ? " with " + std::to_string(size) + " components" : "") +
      ", which no port carries; take float, int, bool, vec2, vec4 or sampler2D");
}

void checkInput(const std::string& name, const TType& type) {
  const TQualifier& qualifier = type.getQualifier();
  const bool isUv = name == "uv" && type.getBasicType() == glslang::EbtFloat && !type.isArray() &&
                    type.getVectorSize() == 2 && !type.isMatrix();
  if (!isUv || qualifier.flat || qualifier.nopersp || qualifier.centroid || qualifier.hasLocation())
    throw std::runtime_error("is declared \"in\"; the only such variable there is: in vec2 uv");
}

void checkOutput(const TType& type) {
  const TQualifier& qualifier = type.getQualifier();
  const bool isPixel = type.getBasicType() == glslang::EbtFloat && !type.isArray() &&
                       type.getVectorSize() == 4 && !type.isMatrix();
  if (!isPixel || (qualifier.hasLocation() && qualifier.layoutLocation != 0) ||
      qualifier.hasIndex())
    throw std::runtime_error("is no output for a picture, which is an \"out vec4\"");
}

/// Sorts the shader's global variables into uniforms and outputs.
struct Variables {
  std::vector<Port> uniforms;
  int outputs = 0;

  void take(const std::string& name, const TType& type) {
    const glslang::TStorageQualifier storage = type.getQualifier().storage;
    if (name.starts_with("gl_")) return;
    if (storage == glslang::EvqVaryingIn) checkInput(name, type);
    if (storage == glslang::EvqUniform) uniforms.push_back({name, typeOfUniform(type), "", {}});
    if (storage == glslang::EvqVaryingOut) {
      checkOutput(type);
      ++outputs;
    }
  }
};

Variables variablesOf(const TIntermediate& code) {
  Variables variables;
  for (TIntermNode* object : code.findLinkerObjects()->getSequence()) {
    const glslang::TIntermSymbol* symbol = object->getAsSymbolNode();
    if (symbol == nullptr) continue;
    const std::string name = symbol->getName().c_str();
    try {
      variables.take(name, symbol->getType());
    } catch (const std::runtime_error& fault) {
      throw std::runtime_error("\"" + name + "\" " + fault.what());
    }
  }
  return variables;
}

}  // namespace

std::vector<Port> uniformsOfShader(const std::string& source, const std::string& fileName) {
  // Never taken down again: other threads may still be compiling when the process ends.
  [[maybe_unused]] static const bool initialized = glslang::InitializeProcess();

  checkStatementLengths(source, fileName);
  glslang::TShader shader(EShLangFragment);
  const char* text = source.c_str();
  const char* name = fileName.c_str();
  const int length = static_cast<int>(source.size());
  shader.setStringsWithLengthsAndNames(&text, &length, &name, 1);
  parse(shader, fileName);

  glslang::TProgram program;  // goes before the shader that is linked into it
  program.addShader(&shader);
  if (!program.link(EShMsgDefault))
    throw std::runtime_error(fileName + ": " + firstFault(program.getInfoLog()));

  try {
    Variables variables = variablesOf(*program.getIntermediate(EShLangFragment));
    if (variables.outputs != 1)
      throw std::runtime_error("exactly one \"out vec4\" takes the picture; there are " +
                               std::to_string(variables.outputs));
    return std::move(variables.uniforms);
  } catch (const std::runtime_error& fault) {
    throw std::runtime_error(fileName + ": " + fault.what());
  }
}

}  // namespace vuo
