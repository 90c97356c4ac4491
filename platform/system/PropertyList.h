// Property lists, the XML files that hold settings, bundle information and cache records.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace brannow {

struct PropertyListValue;
using PropertyListDictionary = std::map<std::string, PropertyListValue>;
/// A property-list date; the XML form keeps whole seconds.
using PropertyListDate = std::chrono::sys_seconds;
/// A value of a type that nobody here reads (array, number, boolean), as the file has it, so that
/// it can be written again.
struct PropertyListOther {
  std::string xml;
};
struct PropertyListData {
  std::string bytes;
};

struct PropertyListValue {
  std::variant<PropertyListOther, std::string, PropertyListData, PropertyListDate,
               std::shared_ptr<const PropertyListDictionary>>
      value;

  /// The value as the named type, or none when it has another type. A text that XML has no way to
  /// write is data in a file, so data counts as a string as well.
  std::optional<std::string> string() const;
  std::optional<PropertyListDate> date() const;
  std::shared_ptr<const PropertyListDictionary> dictionary() const;
};

}  // namespace brannow

namespace platform {

using brannow::PropertyListData;
using brannow::PropertyListDate;
using brannow::PropertyListDictionary;
using brannow::PropertyListOther;
using brannow::PropertyListValue;

/// The string under `key`, or none when the key is missing or holds something else.
std::optional<std::string> stringForKey(const PropertyListDictionary& dictionary,
                                        const std::string& key);

/// Whether XML can hold the text: keys with control characters other than tab and line ends, with
/// broken UTF-8, U+FFFE or U+FFFF can't be written.
bool canBeKey(const std::string& text);

/// What an XML property list says. None when it is no property list, its root is no dictionary, or
/// it nests more than 512 elements deep. Where a key stands twice, the first counts.
std::optional<PropertyListDictionary> propertyListOf(std::string_view xml);
/// The XML form. What has none is left out alone, together with its key: keys that can't be, dates
/// before the year 0 or after 9999, an empty `PropertyListOther`.
std::string xmlOf(const PropertyListDictionary& dictionary);

/// No file is longer.
constexpr std::size_t largestPropertyList = std::size_t{64} << 20;

/// None also when the file can't be read.
std::optional<PropertyListDictionary> readPropertyList(const std::string& path);
/// The file appears whole or not at all. False when writing failed or the file would be larger than
/// what is read; the previous file then stays.
bool writePropertyListAtomically(const PropertyListDictionary& dictionary, const std::string& path);

}  // namespace platform
