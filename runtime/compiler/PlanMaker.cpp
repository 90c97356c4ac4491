#include "runtime/compiler/PlanMaker.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include "runtime/compiler/Cabling.h"
#include "runtime/compiler/ExecutionOrder.h"
#include "runtime/compiler/NodeMaker.h"
#include "runtime/compiler/ParsedFile.h"
#include "runtime/compiler/PublishedPorts.h"
#include "runtime/compiler/TextFile.h"

namespace vuo {
namespace {

std::string titleOf(const CableStatement& cable) {
  return "cable " + cable.fromNode + ":" + cable.fromPort + " -> " + cable.toNode + ":" +
         cable.toPort + ": ";
}

std::string titleOf(const std::string& node) {
  return "node \"" + node + "\": ";
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

/// From the file's statements to the plan.
class PlanMaker {
 public:
  PlanMaker(const ParsedFile& file, const std::string& folder, Faults& faults)
      : _file(file), _faults(faults), _nodes(folder, faults) {}

  Plan plan() {
    for (const NodeStatement& node : _file.nodes) add(node);
    Cabling cabling(_plan);
    for (const CableStatement& cable : _file.cables) connect(cabling, cable);
    settleInputs();
    if (_faults.areErrors()) return {};
    warnOfOpenOutputs();
    warnOfNearNames();
    try {
      orderNodes(_plan);
    } catch (const CycleFault& fault) {
      _faults.add(placeOfNode(fault.node), fault.what());
    }
    return std::move(_plan);
  }

  std::vector<SourceFile> files() const { return _nodes.files(); }

 private:
  void add(const NodeStatement& statement) {
    _statements.emplace(statement.name, &statement);
    const bool isRight = _faults.about(statement.places.place, titleOf(statement.name), [&] {
      if (statement.name == publishedInputsNode)
        _plan.publishedInputs = publishedPorts(statement, _faults);
      else if (statement.name == publishedOutputsNode)
        _plan.publishedOutputs = publishedPorts(statement, _faults);
      else
        _plan.nodes.push_back(_nodes.nodeFrom(statement));
    });
    if (!isRight) _wrongNodes.insert(statement.name);
  }

  /// Of a cable to or from a node that is wrong itself, only the other end is looked at.
  void connect(Cabling& cabling, const CableStatement& cable) {
    const bool hasSource = !_wrongNodes.contains(cable.fromNode);
    const bool hasTarget = !_wrongNodes.contains(cable.toNode);
    const bool isRight = _faults.about(cable.place, titleOf(cable), [&] {
      if (hasSource && hasTarget) return cabling.connect(cable);
      if (hasSource) cabling.requireSource(cable);
      if (hasTarget) cabling.requireTarget(cable);
    });
    if (!isRight || !hasSource || !hasTarget) _isCut.insert(cable.toNode);
  }

  void settleInputs() {
    for (Node& node : _plan.nodes)
      if (!_isCut.contains(node.name))
        _faults.about(placeOfNode(node.name), titleOf(node.name), [&] { settleOpenInputs(node); });
  }

  void warnOfOpenOutputs() {
    for (const Port& output : _plan.publishedOutputs)
      if (output.cables.empty())
        _faults.addWarning(placeOfPort(publishedOutputsNode, output.name),
                           "output \"" + output.name +
                               "\" has no cable, so nothing ever comes out "
                               "of it; write NODE:PORT -> PublishedOutputs:" +
                               output.name);
  }

  void warnOfNearNames() {
    warnOfNearNames(publishedInputsNode, _plan.publishedInputs,
                    {"width", "height", "time", "image"});
    warnOfNearNames(publishedOutputsNode, _plan.publishedOutputs, {"outputImage"});
  }
  /// Hosts know some ports by their names.
  void warnOfNearNames(const char* node, const std::vector<Port>& ports,
                       std::vector<std::string> known) {
    for (const Port& port : ports) std::erase(known, port.name);
    for (const Port& port : ports)
      for (const std::string& name : known)
        if (isNearly(port.name, name))
          _faults.addWarning(
              placeOfPort(node, port.name),
              "port \"" + port.name + "\" is none that hosts know; did you mean \"" + name + "\"?");
  }

  Place placeOfNode(const std::string& name) const { return _statements.at(name)->places.place; }
  Place placeOfPort(const std::string& node, const std::string& port) const {
    return _statements.at(node)->placesOf("_" + port + "_type").name;
  }

  const ParsedFile& _file;
  Faults& _faults;
  NodeMaker _nodes;
  Plan _plan;
  std::unordered_map<std::string, const NodeStatement*> _statements;
  std::unordered_set<std::string> _wrongNodes, _isCut;
};

}  // namespace

Plan planOfComposition(const std::string& path, Faults& faults) {
  Plan plan;
  faults.about({}, "", [&] {
    std::string text = textOfComposition(path);
    constexpr std::string_view byteOrderMark = "\xef\xbb\xbf";
    if (text.starts_with(byteOrderMark)) {
      faults.add({1, 1}, "the file begins with a byte order mark; save it as UTF-8 without one");
      text.erase(0, byteOrderMark.size());
    }
    const ParsedFile file = parsedFile(text);
    PlanMaker maker(file, std::filesystem::path(path).parent_path(), faults);
    plan = maker.plan();
    plan.files = maker.files();
    plan.compositionName = std::filesystem::path(path).filename();
  });
  return plan;
}

}  // namespace vuo
