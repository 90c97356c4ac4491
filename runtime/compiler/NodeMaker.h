// Makes the plan's nodes from the file's node statements.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "runtime/VuoPlan.h"
#include "runtime/compiler/Faults.h"
#include "runtime/compiler/ParsedFile.h"

namespace vuo {

/// One compile's view of the node types and of the files that its nodes name.
class NodeMaker {
 public:
  /// `folder` is where relative file names start.
  NodeMaker(std::string folder, Faults& faults) : _folder(std::move(folder)), _faults(faults) {}

  /// The node with its ports and constants, still without cables. Throws std::runtime_error, or
  /// FaultsNoted where it has noted what is wrong.
  Node nodeFrom(const NodeStatement& statement);

  /// The files that the nodes so far have named, each once, also those that can't be read.
  std::vector<SourceFile> files() const;

 private:
  struct Shader {
    std::string source;
    std::vector<Port> uniforms;
    bool isRight = false;
  };

  void makeShader(Node& node, const NodeStatement& statement);
  void makeImageFile(Node& node, const NodeStatement& statement);
  void makeExpression(Node& node, const NodeStatement& statement);
  void makeText(Node& node, const NodeStatement& statement);
  void setConstants(Node& node, const NodeStatement& statement);
  const Shader& shaderNamed(const std::string& name);
  Shader shaderIn(const std::string& name);
  platform::FileDescriptor opened(const std::string& name);

  std::string _folder;
  Faults& _faults;
  std::map<std::string, Shader> _shaders;   ///< by file name: many nodes may share one
  std::map<std::string, FileState> _files;  ///< by name
  std::size_t _bodyBytes = 0;
};

/// Settles the inputs that have neither a data cable nor a constant. Throws std::runtime_error for
/// those that need one.
void settleOpenInputs(Node& node);

}  // namespace vuo
