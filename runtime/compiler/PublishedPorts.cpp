#include "runtime/compiler/PublishedPorts.h"

#include <set>
#include <stdexcept>

#include "runtime/compiler/ValueNotation.h"

namespace vuo {
namespace {

std::string unquoted(const NodeStatement& statement, const std::string& key) {
  std::string value = statement.attribute(key);
  std::erase(value, '"');
  return value;
}

/// "title|<width>width\l|<time>time\l" names "width" and "time".
std::vector<std::string> namesInLabel(const std::string& label) {
  std::vector<std::string> names;
  std::size_t bar = label.find('|');
  while (bar != label.npos) {
    const std::size_t next = label.find('|', bar + 1);
    const std::string piece = label.substr(bar + 1, next == label.npos ? next : next - bar - 1);
    const std::size_t open = piece.find('<'), close = piece.rfind('>');
    if (open == piece.npos || close == piece.npos || close <= open + 1)
      throw std::runtime_error("its label has a port without a name between < and >: " + piece);
    names.push_back(piece.substr(open + 1, close - open - 1));
    bar = next;
  }
  return names;
}

std::vector<std::string> typeNames() {
  std::vector<std::string> names;
  for (int type = 0; type <= static_cast<int>(Type::Text); ++type)
    names.push_back(typeName(static_cast<Type>(type)));
  return names;
}

Port publishedPort(const NodeStatement& statement, const std::string& name) {
  const std::string typeText = unquoted(statement, "_" + name + "_type");
  if (typeText.empty())
    throw std::runtime_error("has no type; write _" + name + "_type=\"VuoReal\"");
  const auto type = typeNamed(typeText);
  if (!type)
    throw FaultAt(statement.placesOf("_" + name + "_type").name,
                  "has the unknown type \"" + typeText + "\"" + didYouMean(typeText, typeNames()));

  Port port{name, *type, "", {}};
  const std::string value = unquoted(statement, "_" + name);
  const bool absent = value.empty() || (type == Type::Text && value == "null");
  if (!absent) try {
      port.constant = constantFromNotation(*type, value);
    } catch (const std::runtime_error& fault) {
      throw FaultAt(statement.placesOf("_" + name).name, fault.what());
    }
  return port;
}

}  // namespace

std::vector<Port> publishedPorts(const NodeStatement& statement, Faults& faults) {
  const std::string type = statement.name == publishedInputsNode ? "vuo.in" : "vuo.out";
  if (unquoted(statement, "type") != type)
    throw std::runtime_error("is not declared with type=\"" + type + "\"");
  const Place place = statement.placesOf("label").name;
  std::vector<Port> ports;
  std::set<std::string> names;
  bool areRight = true;
  for (const std::string& name : namesInLabel(unquoted(statement, "label")))
    areRight &= faults.about(place, statement.name + ": port \"" + name + "\": ", [&] {
      if (!names.insert(name).second) throw std::runtime_error("there are two of this name");
      ports.push_back(publishedPort(statement, name));
    });
  if (!areRight) throw FaultsNoted();
  return ports;
}

}  // namespace vuo
