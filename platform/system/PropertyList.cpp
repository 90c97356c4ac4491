#include "platform/system/PropertyList.h"

#include <plist/plist.h>

#include <cstdlib>
#include <limits>
#include <string_view>
#include <utility>

#include "platform/system/FileSystem.h"

namespace platform {
namespace {

constexpr std::int64_t kSecondsFrom1970To2001 = 978'307'200;

// libplist recurses once per level of nesting, so a file that nests without end would overflow the
// stack.
constexpr int kDeepestXml = 512;

struct FreeNode {
  void operator()(void* node) const { plist_free(node); }
};
using Node = std::unique_ptr<void, FreeNode>;

std::optional<std::string> xmlOf(plist_t node) {
  char* xml = nullptr;
  std::uint32_t length = 0;
  plist_to_xml(node, &xml, &length);
  const std::unique_ptr<char, void (*)(void*)> owner(xml, std::free);
  return xml ? std::optional<std::string>(std::in_place, xml, length) : std::nullopt;
}

/// Whether the elements of an XML file open and close without going too deep.
bool isShallowXml(std::string_view xml) {
  int depth = 0;
  std::size_t end = 0;
  for (auto tag = xml.find('<'); tag != xml.npos; tag = xml.find('<', end)) {
    end = xml.find('>', tag);
    if (end == xml.npos) break;
    const char first = xml[tag + 1];
    const bool opens = first != '/' && first != '!' && first != '?' && xml[end - 1] != '/';
    depth += opens ? 1 : first == '/' ? -1 : 0;
    if (depth > kDeepestXml) return false;
  }
  return true;
}

Node nodeFromXml(std::string_view xml) {
  if (xml.size() > std::numeric_limits<std::uint32_t>::max() || !isShallowXml(xml)) return nullptr;
  plist_t root = nullptr;
  plist_from_xml(xml.data(), static_cast<std::uint32_t>(xml.size()), &root);
  return Node(root);
}

PropertyListDictionary dictionaryOf(plist_t node);

PropertyListValue valueOf(plist_t node) {
  switch (plist_get_node_type(node)) {
    case PLIST_STRING: {
      std::uint64_t length = 0;
      const char* text = plist_get_string_ptr(node, &length);
      return {std::string(text, length)};
    }
    case PLIST_DATE: {
      std::int32_t seconds = 0, microseconds = 0;
      plist_get_date_val(node, &seconds, &microseconds);
      return {PropertyListDate(std::chrono::seconds(seconds + kSecondsFrom1970To2001))};
    }
    case PLIST_DICT:
      return {std::make_shared<const PropertyListDictionary>(dictionaryOf(node))};
    default:
      return {PropertyListOther{}};
  }
}

PropertyListDictionary dictionaryOf(plist_t node) {
  PropertyListDictionary dictionary;
  plist_dict_iter iterator = nullptr;
  plist_dict_new_iter(node, &iterator);
  for (;;) {
    char* key = nullptr;
    plist_t value = nullptr;
    plist_dict_next_item(node, iterator, &key, &value);
    if (value && key) dictionary.emplace(key, valueOf(value));
    std::free(key);
    if (!value) break;
  }
  std::free(iterator);
  return dictionary;
}

/// XML has no way to write control characters and broken UTF-8: libplist would put them in as they
/// are, and the whole file would be no XML any more.
bool fitsXml(const std::string& text) {
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 && byte != '\t' && byte != '\n' && byte != '\r') return false;
  }
  return isValidUtf8(text);
}

plist_t nodeOf(const PropertyListDictionary& dictionary);

plist_t nodeOf(const PropertyListValue& value) {
  if (const auto text = value.string()) {
    return fitsXml(*text) ? plist_new_string(text->c_str()) : nullptr;
  }
  if (const auto date = value.date()) {
    const auto seconds = date->time_since_epoch().count() - kSecondsFrom1970To2001;
    return std::in_range<std::int32_t>(seconds)
               ? plist_new_date(static_cast<std::int32_t>(seconds), 0)
               : nullptr;
  }
  if (const auto dictionary = value.dictionary()) return nodeOf(*dictionary);
  return nullptr;
}

plist_t nodeOf(const PropertyListDictionary& dictionary) {
  plist_t node = plist_new_dict();
  for (const auto& [key, value] : dictionary) {
    if (!fitsXml(key)) continue;
    if (plist_t item = nodeOf(value)) plist_dict_set_item(node, key.c_str(), item);
  }
  return node;
}

}  // namespace

std::optional<std::string> PropertyListValue::string() const {
  const auto* text = std::get_if<std::string>(&value);
  return text ? std::optional(*text) : std::nullopt;
}

std::optional<PropertyListDate> PropertyListValue::date() const {
  const auto* date = std::get_if<PropertyListDate>(&value);
  return date ? std::optional(*date) : std::nullopt;
}

std::shared_ptr<const PropertyListDictionary> PropertyListValue::dictionary() const {
  const auto* held = std::get_if<std::shared_ptr<const PropertyListDictionary>>(&value);
  return held ? *held : nullptr;
}

std::optional<std::string> stringForKey(const PropertyListDictionary& dictionary,
                                        const std::string& key) {
  const auto found = dictionary.find(key);
  return found == dictionary.end() ? std::nullopt : found->second.string();
}

std::optional<PropertyListDictionary> readPropertyList(const std::string& path) {
  const auto bytes = readFile(path);
  if (!bytes) return std::nullopt;
  const Node root = nodeFromXml(*bytes);
  if (!root || plist_get_node_type(root.get()) != PLIST_DICT) return std::nullopt;
  return dictionaryOf(root.get());
}

bool writePropertyListAtomically(const PropertyListDictionary& dictionary,
                                 const std::string& path) {
  const Node root(nodeOf(dictionary));
  const auto xml = xmlOf(root.get());
  return xml && writeFileAtomically(path, *xml);
}

}  // namespace platform
