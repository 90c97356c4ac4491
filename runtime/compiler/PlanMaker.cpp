#include "runtime/compiler/PlanMaker.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <stdexcept>

#include "runtime/compiler/Cabling.h"
#include "runtime/compiler/ExecutionOrder.h"
#include "runtime/compiler/NodeMaker.h"
#include "runtime/compiler/ParsedFile.h"
#include "runtime/compiler/PublishedPorts.h"
#include "runtime/compiler/TextFile.h"

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

constexpr std::size_t longestComposition = 8 << 20;

std::string textOfComposition(const std::string& path) {
  const platform::FileDescriptor file(
      open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  struct stat status {};
  if (!file && errno != ENOENT && errno != ENXIO)
    throw std::runtime_error(std::string("the file can't be read: ") + std::strerror(errno));
  if (!file || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode))
    throw std::runtime_error("there is no such file");
  return textOf(file, "the file", longestComposition);
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
  const ParsedFile file = parsedFile(textOfComposition(path));
  Plan plan;
  plan.compositionName = std::filesystem::path(path).filename();
  NodeMaker maker(std::filesystem::path(path).parent_path());
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
