#include "runtime/compiler/Cabling.h"

#include <algorithm>
#include <stdexcept>

#include "runtime/compiler/Faults.h"
#include "runtime/compiler/PublishedPorts.h"

namespace vuo {
namespace {

bool isNumeric(Type type) {
  return type == Type::Real || type == Type::Integer || type == Type::Boolean;
}

bool fits(Type from, Type to) {
  return from == to || (isNumeric(from) && isNumeric(to));
}

bool isEventOnly(const CableStatement& statement) {
  if (!statement.event.empty() && statement.event != "true" && statement.event != "false")
    throw std::runtime_error("event is \"" + statement.event + "\", neither true nor false");
  return statement.event == "true";
}

void connect(Port& target, const Port& source, const Cable& cable) {
  if (!cable.eventOnly) {
    if (!fits(source.type, target.type))
      throw std::runtime_error(std::string("a ") + typeName(source.type) + " does not fit a " +
                               typeName(target.type));
    if (!target.constant.empty())
      throw std::runtime_error("the input has a value of its own already; take out _" +
                               target.name + " or the cable");
    if (std::any_of(target.cables.begin(), target.cables.end(),
                    [](const Cable& other) { return !other.eventOnly; }))
      throw std::runtime_error("another cable brings data to that port already");
  }
  target.cables.push_back(cable);
}

std::vector<std::string> namesOf(const std::vector<Port>& ports) {
  std::vector<std::string> names;
  for (const Port& port : ports) names.push_back(port.name);
  return names;
}

/// The names, as far as they help.
std::string listOf(const std::vector<Port>& ports) {
  constexpr std::size_t most = 12;
  std::string names;
  for (std::size_t i = 0; i < std::min(ports.size(), most); ++i)
    names += (i > 0 ? ", " : "") + ports[i].name;
  return ports.empty() ? "none" : names + (ports.size() > most ? ", …" : "");
}

}  // namespace

Cabling::Cabling(Plan& plan) {
  addEnd(_sources, publishedInputsNode, plan.publishedInputs, Source::PublishedInputs);
  addEnd(_targets, publishedOutputsNode, plan.publishedOutputs, Source::PublishedInputs);
  for (std::size_t i = 0; i < plan.nodes.size(); ++i) {
    addEnd(_sources, plan.nodes[i].name, plan.nodes[i].outputs, static_cast<int>(i));
    addEnd(_targets, plan.nodes[i].name, plan.nodes[i].inputs, static_cast<int>(i));
  }
}

void Cabling::addEnd(Ends& ends, const std::string& nodeName, std::vector<Port>& ports, int node) {
  End& end = ends.emplace(nodeName, End{&ports, node, {}}).first->second;
  for (std::size_t i = 0; i < ports.size(); ++i)
    end.indices[ports[i].name].push_back(static_cast<int>(i));
}

const std::vector<int>& Cabling::find(const Ends& ends, const std::string& node,
                                      const std::string& port, const char* direction) {
  const auto end = ends.find(node);
  if (end == ends.end()) throw std::runtime_error("\"" + node + "\" has no " + direction + "s");
  if (end->second.ports->empty())
    throw std::runtime_error("\"" + node + "\" has no " + direction + "s");
  if (port.empty())
    throw std::runtime_error("the cable does not name a port of \"" + node + "\"; write " + node +
                             ":port");
  const auto indices = end->second.indices.find(port);
  if (indices == end->second.indices.end())
    throw std::runtime_error("\"" + node + "\" has no " + direction + " \"" + port + "\"; it has " +
                             listOf(*end->second.ports) +
                             didYouMean(port, namesOf(*end->second.ports)));
  return indices->second;
}

void Cabling::requireSource(const CableStatement& statement) const {
  find(_sources, statement.fromNode, statement.fromPort, "output");
}

void Cabling::requireTarget(const CableStatement& statement) const {
  find(_targets, statement.toNode, statement.toPort, "input");
}

void Cabling::connect(const CableStatement& statement) {
  const int from = find(_sources, statement.fromNode, statement.fromPort, "output").front();
  const std::vector<int>& to = find(_targets, statement.toNode, statement.toPort, "input");
  const End& source = _sources.at(statement.fromNode);
  const End& target = _targets.at(statement.toNode);
  const Cable cable{{source.node, from}, isEventOnly(statement)};
  for (const int index : to) vuo::connect((*target.ports)[index], (*source.ports)[from], cable);
}

}  // namespace vuo
