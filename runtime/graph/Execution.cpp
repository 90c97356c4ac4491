#include "runtime/graph/Execution.h"

#include <json-c/json.h>

#include <algorithm>
#include <stdexcept>

namespace vuo {
namespace {

/// The cable that brings an input its value, if one does.
const Cable* dataCable(const Port& input) {
  const auto found = std::find_if(input.cables.begin(), input.cables.end(),
                                  [](const Cable& cable) { return !cable.eventOnly; });
  return found != input.cables.end() ? &*found : nullptr;
}

Value constantOf(const Port& port) {
  const platform::JsonOwner json(port.constant.empty() ? nullptr
                                                       : json_tokener_parse(port.constant.c_str()));
  return json ? valueFromJson(port.type, json.get()) : converted(Value(), port.type);
}

std::vector<Value> constantsOf(const std::vector<Port>& ports) {
  std::vector<Value> values;
  for (const Port& port : ports) values.push_back(constantOf(port));
  return values;
}

std::string about(const Node& node, const std::string& what) {
  return "node \"" + node.name + "\": " + what;
}

}  // namespace

Execution::Execution(const Plan& plan, const std::string& folder, std::shared_ptr<ShareGroup> group,
                     InstanceListener& listener, PictureSource* forHost)
    : _plan(plan),
      _listener(listener),
      _canvas(std::move(group), forHost),
      _published(constantsOf(plan.publishedInputs)),
      _publishedFired(plan.publishedInputs.size()) {
  for (const Node& node : plan.nodes) {
    try {
      RunningNode running;
      running.work = makeNodeWork(node, folder, _canvas, [this, &node](const std::string& what) {
        _listener.warned(about(node, what));
      });
      running.inputs = constantsOf(node.inputs);
      _nodes.push_back(std::move(running));
    } catch (const std::runtime_error& fault) {
      throw std::runtime_error(plan.compositionName + ": " + about(node, fault.what()));
    }
  }
  for (const Port& output : plan.publishedOutputs)
    if (const Cable* data = dataCable(output);
        data != nullptr && data->source.node != Source::PublishedInputs)
      _nodes[static_cast<std::size_t>(data->source.node)].isPublished = true;
}

EventReport Execution::run(Event event) {
  for (auto& [input, value] : event.values) _published[input] = std::move(value);
  std::fill(_publishedFired.begin(), _publishedFired.end(), false);
  for (const std::size_t input : event.inputs) _publishedFired[input] = true;

  markReachedNodes();
  if (event.asked) markOutputsThatNeverRan();
  markDueNodes();
  for (std::size_t i = 0; i < _nodes.size(); ++i)
    if (_nodes[i].due) runNode(i);

  EventReport report{event.number, EventReport::Outcome::Run, {}};
  for (std::size_t i = 0; i < _plan.publishedOutputs.size(); ++i) {
    const Port& output = _plan.publishedOutputs[i];
    const auto brings = [this](const Cable& cable) { return reached(cable); };
    if (std::none_of(output.cables.begin(), output.cables.end(), brings)) continue;
    const Cable* data = dataCable(output);
    if (data != nullptr && reached(*data))
      report.outputs.push_back(
          {i, true, converted(valueOf(data->source), output.type), faultOf(data->source)});
    else
      report.outputs.push_back({i, false, Value(), {}});
  }
  _canvas.finish();
  return report;
}

bool Execution::reached(const Cable& cable) const {
  const auto& [node, port] = cable.source;
  return node == Source::PublishedInputs ? _publishedFired[static_cast<std::size_t>(port)]
                                         : _nodes[static_cast<std::size_t>(node)].reached;
}

void Execution::markReachedNodes() {
  const auto brings = [this](const Cable& cable) { return reached(cable); };
  for (std::size_t i = 0; i < _nodes.size(); ++i) {
    const auto& inputs = _plan.nodes[i].inputs;
    _nodes[i].reached = std::any_of(inputs.begin(), inputs.end(), [&](const Port& input) {
      return std::any_of(input.cables.begin(), input.cables.end(), brings);
    });
  }
}

/// No event ever comes to a node that no published input leads to; whoever asks for a frame still
/// wants to see once what it makes.
void Execution::markOutputsThatNeverRan() {
  for (const Port& output : _plan.publishedOutputs) {
    const Cable* data = dataCable(output);
    if (data == nullptr || data->source.node == Source::PublishedInputs) continue;
    RunningNode& source = _nodes[static_cast<std::size_t>(data->source.node)];
    source.reached = source.reached || !source.hasRun;
  }
}

void Execution::markDueNodes() {
  for (RunningNode& node : _nodes) node.due = node.reached;
  // A node stands behind those that it reads from, so one walk from the end finds them all.
  for (std::size_t i = _nodes.size(); i-- > 0;) {
    if (!_nodes[i].due) continue;
    for (const Port& input : _plan.nodes[i].inputs) {
      const Cable* data = dataCable(input);
      if (data == nullptr || data->source.node == Source::PublishedInputs) continue;
      RunningNode& source = _nodes[static_cast<std::size_t>(data->source.node)];
      source.due = source.due || !source.hasRun;
    }
  }
}

void Execution::runNode(std::size_t index) {
  const Node& node = _plan.nodes[index];
  RunningNode& running = _nodes[index];
  running.fault.clear();
  for (std::size_t i = 0; i < node.inputs.size(); ++i)
    if (const Cable* data = dataCable(node.inputs[i])) {
      running.inputs[i] = converted(valueOf(data->source), node.inputs[i].type);
      if (running.fault.empty()) running.fault = faultOf(data->source);
    }
  _canvas.setDrawsForHost(running.isPublished);
  try {
    running.output = running.work->run(running.inputs);
  } catch (const std::exception& fault) {
    running.output = Value();
    running.fault = about(node, fault.what());
    _listener.failed(running.fault);
  }
  running.hasRun = true;
}

const Value& Execution::valueOf(const Source& source) const {
  return source.node == Source::PublishedInputs
             ? _published[static_cast<std::size_t>(source.port)]
             : _nodes[static_cast<std::size_t>(source.node)].output;
}

const std::string& Execution::faultOf(const Source& source) const {
  static const std::string none;
  return source.node == Source::PublishedInputs
             ? none
             : _nodes[static_cast<std::size_t>(source.node)].fault;
}

}  // namespace vuo
