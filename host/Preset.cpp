#include "host/Preset.h"

#include <json-c/json.h>

#include <filesystem>
#include <iostream>

#include "host/DescribeJson.h"
#include "host/Failure.h"
#include "platform/system/FileSystem.h"
#include "platform/system/JsonOwner.h"

namespace {

constexpr std::size_t kLargestPreset = std::size_t{1} << 20;

using Value = std::shared_ptr<const ZQVuoPortValue>;

json_object* member(json_object* object, const char* name) {
  json_object* found = nullptr;
  return json_object_object_get_ex(object, name, &found) ? found : nullptr;
}

bool isNumber(json_object* json) {
  return json_object_is_type(json, json_type_double) || json_object_is_type(json, json_type_int);
}

/// Numbers by the names of `parts`; none where one is missing.
template <std::size_t Count>
std::optional<std::array<double, Count>> numbers(json_object* json,
                                                 const std::array<const char*, Count>& parts) {
  std::array<double, Count> found{};
  for (std::size_t i = 0; i < Count; ++i) {
    json_object* const part = member(json, parts[i]);
    if (!isNumber(part)) return std::nullopt;
    found[i] = json_object_get_double(part);
  }
  return found;
}

Value colorFromJson(json_object* json) {
  const auto parts = numbers<4>(json, {"r", "g", "b", "a"});
  if (!parts) return nullptr;
  const auto& [red, green, blue, alpha] = *parts;
  return std::make_shared<const ZQVuoPortValue>(ZQVuoColor{red, green, blue, alpha});
}

Value pointFromJson(json_object* json) {
  const auto parts = numbers<2>(json, {"x", "y"});
  if (!parts) return nullptr;
  return std::make_shared<const ZQVuoPortValue>(ZQVuoPoint{(*parts)[0], (*parts)[1]});
}

/// Null where it is no value for a port of the type.
Value valueFromJson(json_object* json, ZQVuoPortType type) {
  switch (type) {
    case ZQVuoPortType_Real:
      if (!isNumber(json)) return nullptr;
      return std::make_shared<const ZQVuoPortValue>(json_object_get_double(json));
    case ZQVuoPortType_Integer:
      if (!json_object_is_type(json, json_type_int)) return nullptr;
      return std::make_shared<const ZQVuoPortValue>(std::int64_t{json_object_get_int64(json)});
    case ZQVuoPortType_Boolean:
      if (!json_object_is_type(json, json_type_boolean)) return nullptr;
      return std::make_shared<const ZQVuoPortValue>(json_object_get_boolean(json) != 0);
    case ZQVuoPortType_Color:
      return colorFromJson(json);
    case ZQVuoPortType_Point2D:
      return pointFromJson(json);
    case ZQVuoPortType_Text:
      if (!json_object_is_type(json, json_type_string)) return nullptr;
      return std::make_shared<const ZQVuoPortValue>(
          std::string(json_object_get_string(json),
                      static_cast<std::size_t>(json_object_get_string_len(json))));
    default:
      return nullptr;
  }
}

/// Reads one preset and says what of it is left out.
class Reading {
 public:
  Reading(std::string file, const ZQVuoComposition& composition)
      : _file(std::move(file)), _composition(composition) {}

  Preset preset() const {
    const auto text = platform::readTextFile(_file, kLargestPreset);
    if (!text) throw Failure{_file + " can't be read"};
    const platform::JsonOwner json(json_tokener_parse(text->c_str()));
    json_object* const inputs = member(json.get(), "inputs");
    if (!json_object_is_type(inputs, json_type_array))
      throw Failure{_file + " is no preset: it has no list of inputs"};
    Preset preset;
    for (std::size_t i = 0; i < json_object_array_length(inputs); ++i)
      add(json_object_array_get_idx(inputs, i), preset);
    return preset;
  }

 private:
  void add(json_object* input, Preset& preset) const {
    json_object* const nameJson = member(input, "name");
    if (!json_object_is_type(nameJson, json_type_string))
      return leaveOut("an input without a name");
    const std::string name = json_object_get_string(nameJson);
    const auto port = _composition.inputPortNamed(name);
    if (!port) return leaveOut(_composition.fileName() + " has no input " + name);
    if (isTheHosts(_composition, port)) return;
    if (port->portType() == ZQVuoPortType_Image) {
      addImage(name, member(input, "file"), preset);
    } else if (json_object* const json = member(input, "default")) {
      Value value = valueFromJson(json, port->portType());
      if (!value)
        return leaveOut(name + " takes no such value: " + json_object_to_json_string(json));
      preset.values[name] = std::move(value);
    }
  }

  void addImage(const std::string& name, json_object* file, Preset& preset) const {
    if (!json_object_is_type(file, json_type_string)) return;
    const auto folder = std::filesystem::path(_file).parent_path();
    preset.imageFiles[name] = (folder / json_object_get_string(file)).string();
  }

  void leaveOut(const std::string& why) const {
    std::cerr << "brannow: " << _file << ": " << why << "\n";
  }

  const std::string _file;
  const ZQVuoComposition& _composition;
};

}  // namespace

bool isTheHosts(const ZQVuoComposition& composition, const ZQVuoComposition::Port& port) {
  return port == composition.runnerWidthPort() || port == composition.runnerHeightPort() ||
         port == composition.runnerTimePort() || port == composition.runnerImageInputPort();
}

Preset readPreset(const std::string& file, const ZQVuoComposition& composition) {
  return Reading(file, composition).preset();
}

void writePreset(const std::string& file, const ZQVuoComposition& composition,
                 const Preset& preset) {
  std::string reason;
  if (!platform::writeFileAtomically(file, describeJson(composition, preset) + "\n", &reason))
    throw Failure{file + " can't be written: " + reason};
}
