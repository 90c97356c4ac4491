#include "runtime/compiler/ExecutionOrder.h"

#include <algorithm>
#include <functional>
#include <queue>
#include <stdexcept>

namespace vuo {
namespace {

template <typename Function>
void forEachCable(std::vector<Port>& inputs, Function function) {
  for (Port& input : inputs)
    for (Cable& cable : input.cables)
      if (cable.source.node != Source::PublishedInputs) function(cable);
}

/// Walks upstream among the nodes that never became free, until one comes again.
std::vector<int> cycleIn(Plan& plan, const std::vector<int>& waitingFor) {
  const auto blocked = [&](int node) { return waitingFor[node] > 0; };
  int node = 0;
  while (!blocked(node)) ++node;
  std::vector<int> path, placeInPath(plan.nodes.size(), -1);
  while (placeInPath[node] < 0) {
    placeInPath[node] = static_cast<int>(path.size());
    path.push_back(node);
    int upstream = node;
    forEachCable(plan.nodes[node].inputs, [&](const Cable& cable) {
      if (blocked(cable.source.node)) upstream = cable.source.node;
    });
    node = upstream;
  }
  path.erase(path.begin(), path.begin() + placeInPath[node]);
  std::reverse(path.begin(), path.end());
  std::rotate(path.begin(), std::min_element(path.begin(), path.end()), path.end());

  return path;
}

[[noreturn]] void throwCycle(const Plan& plan, const std::vector<int>& path) {
  constexpr std::size_t mostNames = 16;
  std::string names;
  for (std::size_t i = 0; i < std::min(path.size(), mostNames); ++i)
    names += plan.nodes[path[i]].name + " -> ";
  const std::string& first = plan.nodes[path[0]].name;
  throw CycleFault(first, "the cables form a cycle: " + names +
                              (path.size() > mostNames ? "… -> " : "") + first);
}

std::vector<int> executionOrder(Plan& plan) {
  const std::size_t count = plan.nodes.size();
  std::vector<std::vector<int>> downstream(count);
  std::vector<int> waitingFor(count, 0);
  for (std::size_t i = 0; i < count; ++i)
    forEachCable(plan.nodes[i].inputs, [&](const Cable& cable) {
      downstream[cable.source.node].push_back(static_cast<int>(i));
      ++waitingFor[i];
    });

  std::priority_queue<int, std::vector<int>, std::greater<>> free;
  for (std::size_t i = 0; i < count; ++i)
    if (waitingFor[i] == 0) free.push(static_cast<int>(i));
  std::vector<int> order;
  while (!free.empty()) {
    order.push_back(free.top());
    free.pop();
    for (const int node : downstream[order.back()])
      if (--waitingFor[node] == 0) free.push(node);
  }
  if (order.size() < count) throwCycle(plan, cycleIn(plan, waitingFor));
  return order;
}

}  // namespace

void orderNodes(Plan& plan) {
  const std::vector<int> order = executionOrder(plan);
  std::vector<int> newPlace(order.size());
  std::vector<Node> nodes;
  for (std::size_t i = 0; i < order.size(); ++i) {
    newPlace[order[i]] = static_cast<int>(i);
    nodes.push_back(std::move(plan.nodes[order[i]]));
  }
  plan.nodes = std::move(nodes);
  const auto move = [&](Cable& cable) { cable.source.node = newPlace[cable.source.node]; };
  for (Node& node : plan.nodes) forEachCable(node.inputs, move);
  forEachCable(plan.publishedOutputs, move);
}

}  // namespace vuo
