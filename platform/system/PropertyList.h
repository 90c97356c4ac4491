// Property lists, the XML files that hold settings, bundle information and cache records.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <variant>

namespace platform {

struct PropertyListValue;
using PropertyListDictionary = std::map<std::string, PropertyListValue>;
/// A property-list date; the XML form keeps whole seconds.
using PropertyListDate = std::chrono::sys_seconds;
/// Stands for values of the types that nobody here reads (arrays, data, numbers, booleans).
struct PropertyListOther {};

struct PropertyListValue {
  std::variant<PropertyListOther, std::string, PropertyListDate,
               std::shared_ptr<const PropertyListDictionary>>
      value;

  /// The value as the named type, or none when it has another type.
  std::optional<std::string> string() const;
  std::optional<PropertyListDate> date() const;
  std::shared_ptr<const PropertyListDictionary> dictionary() const;
};

/// The string under `key`, or none when the key is missing or holds something else.
std::optional<std::string> stringForKey(const PropertyListDictionary& dictionary,
                                        const std::string& key);

/// Reads a file in the XML form. None when the file is missing, is no such property list, has a
/// root that is no dictionary, or nests more than 512 elements deep.
std::optional<PropertyListDictionary> readPropertyList(const std::string& path);

/// Writes the XML form; the file appears whole or not at all. What has no XML form is left out
/// alone, together with its key: `PropertyListOther`, texts and keys with control characters other
/// than tab and line ends or with broken UTF-8, dates more than 68 years from 2001. False when
/// writing failed; the previous file then stays.
bool writePropertyListAtomically(const PropertyListDictionary& dictionary, const std::string& path);

}  // namespace platform
