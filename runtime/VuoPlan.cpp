#include "runtime/VuoPlan.h"

#include <json-c/json.h>

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <utility>

#include "platform/system/JsonOwner.h"

namespace vuo {
namespace {

constexpr const char* typeNames[] = {"VuoImage",   "VuoReal",    "VuoInteger", "VuoColor",
                                     "VuoBoolean", "VuoPoint2d", "VuoText"};
constexpr const char* kindNames[] = {"shader", "image file", "expression", "text"};

template <typename Enum, std::size_t count>
std::optional<Enum> enumNamed(const std::string& name, const char* const (&names)[count]) {
  for (std::size_t i = 0; i < count; ++i)
    if (name == names[i]) return static_cast<Enum>(i);
  return std::nullopt;
}

// ---- writing

json_object* jsonOf(const std::string& text) {
  return json_object_new_string_len(text.data(), static_cast<int>(text.size()));
}

template <typename Item, typename Function>
json_object* arrayOf(const std::vector<Item>& items, Function jsonOfItem) {
  json_object* array = json_object_new_array();
  for (const Item& item : items) json_object_array_add(array, jsonOfItem(item));
  return array;
}

json_object* jsonOf(const SourceFile& file) {
  json_object* object = json_object_new_object();
  json_object_object_add(object, "name", jsonOf(file.name));
  json_object_object_add(object, "modified", json_object_new_int64(file.state.modified));
  json_object_object_add(object, "size", json_object_new_int64(file.state.size));
  return object;
}

json_object* jsonOf(const Cable& cable) {
  json_object* object = json_object_new_object();
  json_object_object_add(object, "node", json_object_new_int(cable.source.node));
  json_object_object_add(object, "port", json_object_new_int(cable.source.port));
  json_object_object_add(object, "eventOnly", json_object_new_boolean(cable.eventOnly));
  return object;
}

json_object* jsonOf(const Port& port) {
  json_object* object = json_object_new_object();
  json_object_object_add(object, "name", jsonOf(port.name));
  json_object_object_add(object, "type", json_object_new_string(typeName(port.type)));
  json_object_object_add(object, "constant", jsonOf(port.constant));
  json_object_object_add(object, "cables",
                         arrayOf(port.cables, [](const Cable& cable) { return jsonOf(cable); }));
  return object;
}

json_object* jsonOf(const std::vector<Port>& ports) {
  return arrayOf(ports, [](const Port& port) { return jsonOf(port); });
}

json_object* jsonOf(const Node& node) {
  json_object* object = json_object_new_object();
  json_object_object_add(object, "name", jsonOf(node.name));
  json_object_object_add(object, "kind",
                         json_object_new_string(kindNames[static_cast<int>(node.kind)]));
  json_object_object_add(object, "inputs", jsonOf(node.inputs));
  json_object_object_add(object, "outputs", jsonOf(node.outputs));
  json_object_object_add(object, "body", jsonOf(node.body));
  return object;
}

// ---- reading

[[noreturn]] void notAPlan(const std::string& why) {
  throw std::runtime_error("This is no compiled composition: " + why + ".");
}

json_object* member(json_object* object, const char* key, json_type type) {
  json_object* value = nullptr;
  if (!json_object_object_get_ex(object, key, &value) || !json_object_is_type(value, type))
    notAPlan(std::string("\"") + key + "\" is missing or of another kind");
  return value;
}

std::string textMember(json_object* object, const char* key) {
  json_object* value = member(object, key, json_type_string);
  return {json_object_get_string(value),
          static_cast<std::size_t>(json_object_get_string_len(value))};
}

template <typename Item, typename Function>
std::vector<Item> listMember(json_object* object, const char* key, Function itemOfJson) {
  json_object* array = member(object, key, json_type_array);
  std::vector<Item> items;
  items.reserve(json_object_array_length(array));
  for (std::size_t i = 0; i < json_object_array_length(array); ++i)
    items.push_back(itemOfJson(json_object_array_get_idx(array, i)));
  return items;
}

SourceFile fileOf(json_object* object) {
  return {textMember(object, "name"),
          {json_object_get_int64(member(object, "modified", json_type_int)),
           json_object_get_int64(member(object, "size", json_type_int))}};
}

Cable cableOf(json_object* object) {
  return {{json_object_get_int(member(object, "node", json_type_int)),
           json_object_get_int(member(object, "port", json_type_int))},
          json_object_get_boolean(member(object, "eventOnly", json_type_boolean)) != 0};
}

Port portOf(json_object* object) {
  const auto type = typeNamed(textMember(object, "type"));
  if (!type) notAPlan("a port has an unknown type");
  return {textMember(object, "name"), *type, textMember(object, "constant"),
          listMember<Cable>(object, "cables", cableOf)};
}

Node nodeOf(json_object* object) {
  const auto kind = enumNamed<NodeKind>(textMember(object, "kind"), kindNames);
  if (!kind) notAPlan("a node is of an unknown kind");
  return {textMember(object, "name"), *kind, listMember<Port>(object, "inputs", portOf),
          listMember<Port>(object, "outputs", portOf), textMember(object, "body")};
}

enum class Line { Files, Surface, Nodes };

platform::JsonOwner parsedLine(const std::string& text, Line line) {
  std::size_t begin = 0;
  for (int i = 0; i < static_cast<int>(line); ++i) {
    begin = text.find('\n', begin) + 1;
    if (begin == 0) notAPlan("it is cut off");
  }
  const std::size_t end = text.find('\n', begin);
  platform::JsonOwner object(json_tokener_parse(text.substr(begin, end - begin).c_str()));
  if (!object) notAPlan("it is no JSON");
  return object;
}

bool setsText(const Plan& plan) {
  return std::any_of(plan.nodes.begin(), plan.nodes.end(),
                     [](const Node& node) { return node.kind == NodeKind::Text; });
}

bool exists(const Source& source, const Plan& plan, std::size_t nodesBefore) {
  if (source.node != Source::PublishedInputs &&
      (source.node < 0 || static_cast<std::size_t>(source.node) >= nodesBefore))
    return false;
  const std::vector<Port>& ports =
      source.node < 0 ? plan.publishedInputs : plan.nodes[source.node].outputs;
  return source.port >= 0 && static_cast<std::size_t>(source.port) < ports.size();
}

/// Whoever runs a plan uses its indices unchecked.
void checkSources(const std::vector<Port>& inputs, const Plan& plan, std::size_t nodesBefore) {
  for (const Port& input : inputs)
    for (const Cable& cable : input.cables)
      if (!exists(cable.source, plan, nodesBefore)) notAPlan("a cable comes from nowhere");
}

void checkSources(const Plan& plan) {
  for (std::size_t i = 0; i < plan.nodes.size(); ++i) checkSources(plan.nodes[i].inputs, plan, i);
  checkSources(plan.publishedOutputs, plan, plan.nodes.size());
}

}  // namespace

const char* typeName(Type type) {
  return typeNames[static_cast<int>(type)];
}

std::optional<Type> typeNamed(const std::string& name) {
  return enumNamed<Type>(name, typeNames);
}

/// Three lines: the files, the surface, the nodes.
std::string serialized(const Plan& plan) {
  const platform::JsonOwner files(json_object_new_object());
  json_object_object_add(files.get(), "files",
                         arrayOf(plan.files, [](const SourceFile& file) { return jsonOf(file); }));
  const platform::JsonOwner surface(json_object_new_object());
  json_object_object_add(surface.get(), "composition", jsonOf(plan.compositionName));
  json_object_object_add(surface.get(), "inputs", jsonOf(plan.publishedInputs));
  json_object_object_add(surface.get(), "outputs", jsonOf(plan.publishedOutputs));
  json_object_object_add(surface.get(), "setsText", json_object_new_boolean(setsText(plan)));
  const platform::JsonOwner nodes(json_object_new_object());
  json_object_object_add(nodes.get(), "nodes",
                         arrayOf(plan.nodes, [](const Node& node) { return jsonOf(node); }));
  const auto lineOf = [](const platform::JsonOwner& json) {
    return std::string(json_object_to_json_string_ext(json.get(), JSON_C_TO_STRING_PLAIN));
  };
  return lineOf(files) + "\n" + lineOf(surface) + "\n" + lineOf(nodes);
}

Plan planFromText(const std::string& text) {
  Plan plan;
  plan.files = filesInPlan(text);
  PlanSurface surface = surfaceInPlan(text);
  plan.compositionName = std::move(surface.compositionName);
  plan.publishedInputs = std::move(surface.publishedInputs);
  plan.publishedOutputs = std::move(surface.publishedOutputs);
  plan.nodes = listMember<Node>(parsedLine(text, Line::Nodes).get(), "nodes", nodeOf);
  checkSources(plan);
  if (surface.setsText != setsText(plan)) notAPlan("its surface is that of another one");
  return plan;
}

PlanSurface surfaceInPlan(const std::string& text) {
  const platform::JsonOwner object = parsedLine(text, Line::Surface);
  return {textMember(object.get(), "composition"), listMember<Port>(object.get(), "inputs", portOf),
          listMember<Port>(object.get(), "outputs", portOf),
          json_object_get_boolean(member(object.get(), "setsText", json_type_boolean)) != 0};
}

std::vector<SourceFile> filesInPlan(const std::string& text) {
  return listMember<SourceFile>(parsedLine(text, Line::Files).get(), "files", fileOf);
}

}  // namespace vuo
