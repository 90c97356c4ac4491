#include "platform/runtime/VuoPlan.h"

#include <json-c/json.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <utility>

namespace vuo {
namespace {

constexpr const char* typeNames[] = {"VuoImage",   "VuoReal",    "VuoInteger", "VuoColor",
                                     "VuoBoolean", "VuoPoint2d", "VuoText"};
constexpr const char* kindNames[] = {"shader", "image file", "expression"};

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

struct PutJson {
  void operator()(json_object* object) const { json_object_put(object); }
};
using JsonOwner = std::unique_ptr<json_object, PutJson>;

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

// ---- artefacts

/// The last bytes of an artefact; the plan's text stands right before them. An artefact runs on the
/// machine that made it, so the length is in that machine's byte order.
struct Footer {
  std::uint64_t length;
  char magic[8];
};
constexpr char magicOfPlans[8] = {'V', 'u', 'o', 'P', 'l', 'a', 'n', '1'};

void readAt(int fileDescriptor, void* bytes, std::size_t count, std::uint64_t offset) {
  auto* next = static_cast<char*>(bytes);
  while (count > 0) {
    const ssize_t got = pread(fileDescriptor, next, count, static_cast<off_t>(offset));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) notAPlan("the file can't be read to its end");
    next += got;
    offset += static_cast<std::uint64_t>(got);
    count -= static_cast<std::size_t>(got);
  }
}

}  // namespace

const char* typeName(Type type) {
  return typeNames[static_cast<int>(type)];
}

std::optional<Type> typeNamed(const std::string& name) {
  return enumNamed<Type>(name, typeNames);
}

std::string serialized(const Plan& plan) {
  const JsonOwner object(json_object_new_object());
  json_object_object_add(object.get(), "composition", jsonOf(plan.compositionName));
  json_object_object_add(object.get(), "inputs", jsonOf(plan.publishedInputs));
  json_object_object_add(object.get(), "nodes",
                         arrayOf(plan.nodes, [](const Node& node) { return jsonOf(node); }));
  json_object_object_add(object.get(), "outputs", jsonOf(plan.publishedOutputs));
  return json_object_to_json_string_ext(object.get(), JSON_C_TO_STRING_PLAIN);
}

Plan planFromText(const std::string& text) {
  const JsonOwner object(json_tokener_parse(text.c_str()));
  if (!object) notAPlan("it is no JSON");
  Plan plan{textMember(object.get(), "composition"),
            listMember<Port>(object.get(), "inputs", portOf),
            listMember<Node>(object.get(), "nodes", nodeOf),
            listMember<Port>(object.get(), "outputs", portOf)};
  checkSources(plan);
  return plan;
}

std::string attachment(std::string planText) {
  Footer footer{planText.size(), {}};
  std::memcpy(footer.magic, magicOfPlans, sizeof footer.magic);
  return std::move(planText.append(reinterpret_cast<const char*>(&footer), sizeof footer));
}

Plan planOfArtefact(int fileDescriptor) {
  struct stat status;
  if (fstat(fileDescriptor, &status) != 0 || !S_ISREG(status.st_mode) ||
      static_cast<std::uint64_t>(status.st_size) < sizeof(Footer))
    notAPlan("it is no file, or too short");
  const std::uint64_t footerAt = static_cast<std::uint64_t>(status.st_size) - sizeof(Footer);
  Footer footer;
  readAt(fileDescriptor, &footer, sizeof footer, footerAt);
  if (std::memcmp(footer.magic, magicOfPlans, sizeof footer.magic) != 0 || footer.length > footerAt)
    notAPlan("no plan is attached");
  std::string text(footer.length, '\0');
  readAt(fileDescriptor, text.data(), text.size(), footerAt - footer.length);
  return planFromText(text);
}

}  // namespace vuo
