#include "runtime/compiler/NodeMaker.h"

#include <algorithm>
#include <stdexcept>
#include <string_view>

#include "runtime/NamedFile.h"
#include "runtime/compiler/ExpressionInterface.h"
#include "runtime/compiler/ShaderInterface.h"
#include "runtime/compiler/TextFile.h"
#include "runtime/compiler/ValueNotation.h"

namespace vuo {
namespace {

constexpr std::size_t longestShader = 1 << 20;
constexpr std::size_t mostBodyBytes = 64 << 20;

std::string requiredAttribute(const NodeStatement& statement, const char* key) {
  const std::string value = statement.attribute(key);
  if (value.empty()) throw std::runtime_error(std::string("has no attribute \"") + key + "\"");
  return value;
}

bool isPng(const platform::FileDescriptor& file) {
  char start[8];
  return pread(file.get(), start, sizeof start, 0) == sizeof start &&
         std::string_view(start, sizeof start) == "\x89PNG\r\n\x1a\n";
}

/// A constant is the attribute "_" + the input's name. Several inputs may share a name.
void setConstants(Node& node, const NodeStatement& statement) {
  for (auto [key, value] : statement.attributes) {
    if (!key.starts_with('_')) continue;
    std::erase(value, '"');
    bool found = false;
    for (Port& input : node.inputs) {
      if (input.name != key.substr(1)) continue;
      found = true;
      try {
        input.constant = constantFromNotation(input.type, value);
      } catch (const std::runtime_error& fault) {
        throw std::runtime_error("input \"" + input.name + "\": " + fault.what());
      }
    }
    if (!found)
      throw std::runtime_error("has no input \"" + key.substr(1) + "\" to give a value to");
  }
}

bool hasData(const Port& input) {
  return !input.constant.empty() ||
         std::any_of(input.cables.begin(), input.cables.end(),
                     [](const Cable& cable) { return !cable.eventOnly; });
}

/// A picture without a size of its own takes that of the first image that goes into it.
void checkSize(const Node& node) {
  const bool hasImage = std::any_of(node.inputs.begin(), node.inputs.end(),
                                    [](const Port& input) { return input.type == Type::Image; });
  if (!hasImage && !(hasData(node.inputs[0]) && hasData(node.inputs[1])))
    throw std::runtime_error(
        "has no image to take its size from, so \"width\" and \"height\" each need a cable or a "
        "value");
}

}  // namespace

Node NodeMaker::nodeFrom(const NodeStatement& statement) {
  Node node;
  node.name = statement.name;
  const std::string type = statement.attribute("type");
  if (type == "vuo.shader")
    makeShader(node, statement);
  else if (type == "vuo.image.file")
    makeImageFile(node, statement);
  else if (type == "vuo.expression")
    makeExpression(node, statement);
  else if (type.empty())
    throw std::runtime_error("is used but not declared with a \"type\"");
  else
    throw std::runtime_error("has the unknown type \"" + type +
                             "\"; there are vuo.shader, vuo.image.file and vuo.expression");
  setConstants(node, statement);

  _bodyBytes += node.body.size();
  if (_bodyBytes > mostBodyBytes) throw std::runtime_error("makes the composition too large");
  return node;
}

void NodeMaker::makeShader(Node& node, const NodeStatement& statement) {
  const Shader& shader = shaderNamed(requiredAttribute(statement, "shader"));
  node.kind = NodeKind::Shader;
  node.body = shader.source;
  node.inputs = {{"width", Type::Integer, "", {}}, {"height", Type::Integer, "", {}}};
  node.inputs.insert(node.inputs.end(), shader.uniforms.begin(), shader.uniforms.end());
  node.outputs = {{"image", Type::Image, "", {}}};
}

void NodeMaker::makeImageFile(Node& node, const NodeStatement& statement) {
  node.kind = NodeKind::ImageFile;
  node.body = requiredAttribute(statement, "file");
  if (!isPng(openNamedFile(_folder, node.body)))
    throw std::runtime_error(node.body + " is no PNG picture");
  node.outputs = {{"image", Type::Image, "", {}}};
}

void NodeMaker::makeExpression(Node& node, const NodeStatement& statement) {
  node.kind = NodeKind::Expression;
  node.body = requiredAttribute(statement, "expression");
  for (const std::string& variable : variablesOfExpression(node.body))
    node.inputs.push_back({variable, Type::Real, "", {}});
  node.outputs = {{"result", Type::Real, "", {}}};
}

const NodeMaker::Shader& NodeMaker::shaderNamed(const std::string& name) {
  const auto known = _shaders.find(name);
  if (known != _shaders.end()) return known->second;

  std::string source = textOf(openNamedFile(_folder, name), name, longestShader);
  if (source.find('\0') != source.npos) throw std::runtime_error(name + " is no text");
  std::vector<Port> uniforms = uniformsOfShader(source, name);
  Shader shader{std::move(source), std::move(uniforms)};
  for (const Port& uniform : shader.uniforms)
    if ((uniform.name == "width" || uniform.name == "height") && uniform.type != Type::Integer &&
        uniform.type != Type::Real)
      throw std::runtime_error(name + ": \"" + uniform.name +
                               "\" is the picture's size, an int or a float");
  return _shaders.emplace(name, std::move(shader)).first->second;
}

void settleOpenInputs(Node& node) {
  if (node.kind == NodeKind::Shader) checkSize(node);
  const std::size_t sizeInputs = node.kind == NodeKind::Shader ? 2 : 0;
  for (std::size_t i = sizeInputs; i < node.inputs.size(); ++i) {
    Port& input = node.inputs[i];
    if (hasData(input)) continue;
    if (input.type == Type::Image)
      throw std::runtime_error("input \"" + input.name + "\" needs a cable that brings an image");
    if (node.kind == NodeKind::Expression)
      throw std::runtime_error("\"" + input.name +
                               "\" in the expression has neither a cable nor a value");
    input.constant = constantOfUntouchedPort(input.type);
  }
}

}  // namespace vuo
