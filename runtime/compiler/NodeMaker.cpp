#include "runtime/compiler/NodeMaker.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string_view>

#include "runtime/NamedFile.h"
#include "runtime/TextPorts.h"
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
  if (!value.empty()) return value;
  std::vector<std::string> keys;
  for (const auto& [other, otherValue] : statement.attributes) keys.push_back(other);
  const auto near = nearestOf(key, keys);
  throw std::runtime_error(std::string("has no attribute \"") + key + "\"" +
                           (near ? "; \"" + *near + "\" looks as if it were meant to be it" : ""));
}

bool isPng(const platform::FileDescriptor& file) {
  char start[8];
  return pread(file.get(), start, sizeof start, 0) == sizeof start &&
         std::string_view(start, sizeof start) == "\x89PNG\r\n\x1a\n";
}

bool hasData(const Port& input) {
  return !input.constant.empty() ||
         std::any_of(input.cables.begin(), input.cables.end(),
                     [](const Cable& cable) { return !cable.eventOnly; });
}

/// A picture without a size of its own takes that of the first image that goes into it.
void checkSize(const Node& node) {
  const bool hasImage = std::any_of(node.inputs.begin(), node.inputs.end(), [&](const Port& input) {
    return input.type == Type::Image && (node.kind == NodeKind::Shader || hasData(input));
  });
  if (!hasImage && !(hasData(node.inputs[0]) && hasData(node.inputs[1])))
    throw std::runtime_error(
        "has no image to take its size from, so \"width\" and \"height\" each need a cable or a "
        "value");
}

/// The inputs of a text that take one of a few words.
void checkTextInput(const std::string& name, const std::string& value) {
  const auto check = [&](const std::array<const char*, 3>& words) {
    if (std::find(words.begin(), words.end(), value) == words.end())
      throw std::runtime_error("\"" + value + "\" is no alignment; there are " + words[0] + ", " +
                               words[1] + " and " + words[2]);
  };
  if (name == "alignment") check(horizontalAlignments);
  if (name == "verticalAlignment") check(verticalAlignments);
}

/// In DOT a line break inside quotation marks is written as \n.
std::string inLines(std::string text) {
  for (std::size_t at = 0; (at = text.find("\\n", at)) != text.npos; ++at)
    text.replace(at, 2, "\n");
  return text;
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
  else if (type == "vuo.text")
    makeText(node, statement);
  else if (type.empty())
    throw std::runtime_error("is used but not declared with a \"type\"");
  else
    throw FaultAt(
        statement.placesOf("type").name,
        "has the unknown type \"" + type +
            "\"; there are vuo.shader, vuo.image.file, vuo.expression and vuo.text" +
            didYouMean(type, {"vuo.shader", "vuo.image.file", "vuo.expression", "vuo.text"}));
  setConstants(node, statement);

  _bodyBytes += node.body.size();
  if (_bodyBytes > mostBodyBytes) throw std::runtime_error("makes the composition too large");
  return node;
}

/// A constant is the attribute "_" + the input's name. Several inputs may share a name.
void NodeMaker::setConstants(Node& node, const NodeStatement& statement) {
  const auto give = [&](const std::string& name, const std::string& value) {
    std::vector<std::string> names;
    bool found = false;
    for (Port& input : node.inputs) {
      names.push_back(input.name);
      if (input.name != name) continue;
      found = true;
      if (node.kind == NodeKind::Text) checkTextInput(name, value);
      const bool hasLines = node.kind == NodeKind::Text && name == "text";
      input.constant = constantFromNotation(input.type, hasLines ? inLines(value) : value);
    }
    if (!found)
      throw std::runtime_error("there is no such input to give a value to" +
                               didYouMean(name, names));
  };
  bool areRight = true;
  for (const auto& [key, written] : statement.attributes) {
    if (!key.starts_with('_')) continue;
    std::string value = written;
    std::erase(value, '"');
    const std::string name = key.substr(1);
    areRight &= _faults.about(
        statement.placesOf(key).name,
        "node \"" + node.name + "\": input \"" + name + "\": ", [&] { give(name, value); });
  }
  if (!areRight) throw FaultsNoted();
}

void NodeMaker::makeShader(Node& node, const NodeStatement& statement) {
  const std::string name = requiredAttribute(statement, "shader");
  const bool isThere = _faults.about(statement.placesOf("shader").value,
                                     "node \"" + node.name + "\": ", [&] { shaderNamed(name); });
  if (!isThere || !shaderNamed(name).isRight) throw FaultsNoted();
  const Shader& shader = shaderNamed(name);
  node.kind = NodeKind::Shader;
  node.body = shader.source;
  node.inputs = {{"width", Type::Integer, "", {}}, {"height", Type::Integer, "", {}}};
  node.inputs.insert(node.inputs.end(), shader.uniforms.begin(), shader.uniforms.end());
  node.outputs = {{"image", Type::Image, "", {}}};
}

void NodeMaker::makeImageFile(Node& node, const NodeStatement& statement) {
  node.kind = NodeKind::ImageFile;
  node.body = requiredAttribute(statement, "file");
  node.outputs = {{"image", Type::Image, "", {}}};
  const auto look = [&] {
    if (!isPng(opened(node.body))) throw std::runtime_error(node.body + " is no PNG picture");
  };
  if (!_faults.about(statement.placesOf("file").value, "node \"" + node.name + "\": ", look))
    throw FaultsNoted();
}

void NodeMaker::makeExpression(Node& node, const NodeStatement& statement) {
  node.kind = NodeKind::Expression;
  node.body = requiredAttribute(statement, "expression");
  node.outputs = {{"result", Type::Real, "", {}}};
  const auto read = [&] {
    for (const std::string& variable : variablesOfExpression(node.body))
      node.inputs.push_back({variable, Type::Real, "", {}});
  };
  if (!_faults.about(statement.placesOf("expression").value, "node \"" + node.name + "\": ", read))
    throw FaultsNoted();
}

void NodeMaker::makeText(Node& node, const NodeStatement& statement) {
  if (!statement.attribute("text").empty())
    throw FaultAt(statement.placesOf("text").name,
                  "has an attribute \"text\"; a value for the input of that name is written _text");
  node.kind = NodeKind::Text;
  node.inputs = textInputs();
  for (Port& input : node.inputs) input.constant.clear();  // a cable may bring one
  node.outputs = {{"image", Type::Image, "", {}}};
}

/// What is wrong in a shader is told once, however many nodes name it.
const NodeMaker::Shader& NodeMaker::shaderNamed(const std::string& name) {
  const auto known = _shaders.find(name);
  return known != _shaders.end() ? known->second
                                 : _shaders.emplace(name, shaderIn(name)).first->second;
}

NodeMaker::Shader NodeMaker::shaderIn(const std::string& name) {
  Shader shader;
  shader.source = textOf(opened(name), name, longestShader);
  if (shader.source.find('\0') != std::string::npos) throw std::runtime_error(name + " is no text");
  ShaderInterface interface = interfaceOf(shader.source);
  for (const FaultAt& fault : interface.faults) _faults.addIn(name, fault.place, fault.what());
  shader.isRight = interface.faults.empty();
  shader.uniforms = std::move(interface.uniforms);
  return shader;
}

/// A file that is named again keeps the state of its first time: a plan with both is out of date.
platform::FileDescriptor NodeMaker::opened(const std::string& name) {
  const auto [state, isFirst] = _files.emplace(name, FileState());
  platform::FileDescriptor file = openNamedFile(_folder, name);
  if (isFirst) state->second = settledStateOf(file);
  return file;
}

std::vector<SourceFile> NodeMaker::files() const {
  std::vector<SourceFile> files;
  for (const auto& [name, state] : _files) files.push_back({name, state});
  return files;
}

namespace {

/// Its inputs have values of their own, and the image below is no must.
void settleText(Node& node) {
  const std::vector<Port> untouched = textInputs();
  for (std::size_t i = 0; i < node.inputs.size(); ++i)
    if (!hasData(node.inputs[i])) node.inputs[i].constant = untouched[i].constant;
}

bool hasSize(const Node& node) {
  return node.kind == NodeKind::Shader || node.kind == NodeKind::Text;
}

}  // namespace

void settleOpenInputs(Node& node) {
  if (hasSize(node)) checkSize(node);
  if (node.kind == NodeKind::Text) return settleText(node);
  const std::size_t sizeInputs = hasSize(node) ? 2 : 0;
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
