// Makes the plan's nodes from the file's node statements.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "runtime/VuoPlan.h"
#include "runtime/compiler/ParsedFile.h"

namespace vuo {

/// One compile's view of the node types and of the files that its nodes name.
class NodeMaker {
 public:
  /// `folder` is where relative file names start.
  explicit NodeMaker(std::string folder) : _folder(std::move(folder)) {}

  /// The node with its ports and constants, still without cables. Throws std::runtime_error.
  Node nodeFrom(const NodeStatement& statement);

 private:
  struct Shader {
    std::string source;
    std::vector<Port> uniforms;
  };

  void makeShader(Node& node, const NodeStatement& statement);
  void makeImageFile(Node& node, const NodeStatement& statement);
  void makeExpression(Node& node, const NodeStatement& statement);
  const Shader& shaderNamed(const std::string& name);

  std::string _folder;
  std::map<std::string, Shader> _shaders;  ///< by file name: many nodes may share one
  std::size_t _bodyBytes = 0;
};

/// Settles the inputs that have neither a data cable nor a constant. Throws std::runtime_error for
/// those that need one.
void settleOpenInputs(Node& node);

}  // namespace vuo
