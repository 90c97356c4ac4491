#include "platform/runtime/compiler/PlanMaker.h"

#include <filesystem>
#include <stdexcept>

#include "platform/runtime/compiler/Cabling.h"
#include "platform/runtime/compiler/CompositionFile.h"
#include "platform/runtime/compiler/ExecutionOrder.h"
#include "platform/runtime/compiler/NodeMaker.h"
#include "platform/runtime/compiler/PublishedPorts.h"
#include "platform/system/FileSystem.h"

namespace vuo {
namespace {

/// Runs one step and puts what it is about in front of its fault.
template <typename Step>
void about(const std::string& title, Step step) {
  try {
    step();
  } catch (const std::runtime_error& fault) {
    throw std::runtime_error(title + ": " + fault.what());
  }
}

std::string titleOf(const NodeStatement& node) {
  const std::string line = node.line > 0 ? "line " + std::to_string(node.line) + ": " : "";
  return line + "node \"" + node.name + "\"";
}

std::string titleOf(const CableStatement& cable) {
  return "cable " + cable.fromNode + ":" + cable.fromPort + " -> " + cable.toNode + ":" +
         cable.toPort;
}

std::string textOfFile(const std::string& path) {
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error))
    throw std::runtime_error("there is no such file");
  const auto text = platform::readTextFile(path);
  if (!text) throw std::runtime_error("the file can't be read as UTF-8 text");
  return *text;
}

void addNode(Plan& plan, const NodeStatement& statement, NodeMaker& maker) {
  if (statement.name == publishedInputsNode)
    plan.publishedInputs = publishedPorts(statement);
  else if (statement.name == publishedOutputsNode)
    plan.publishedOutputs = publishedPorts(statement);
  else
    plan.nodes.push_back(maker.nodeFrom(statement));
}

}  // namespace

Plan planOfComposition(const std::string& path) {
  const CompositionFile file = compositionFileFromText(textOfFile(path));
  Plan plan;
  plan.compositionName = platform::lastPathComponent(path);
  NodeMaker maker(platform::deletingLastPathComponent(path));
  for (const NodeStatement& node : file.nodes)
    about(titleOf(node), [&] { addNode(plan, node, maker); });

  Cabling cabling(plan);
  for (const CableStatement& cable : file.cables)
    about(titleOf(cable), [&] { cabling.connect(cable); });

  for (Node& node : plan.nodes)
    about("node \"" + node.name + "\"", [&] { settleOpenInputs(node); });
  orderNodes(plan);
  return plan;
}

}  // namespace vuo
