#include "host/DescribeJson.h"

#include <cmath>

#include "host/JsonText.h"
#include "host/ShortestDigits.h"
#include "platform/system/JsonOwner.h"

namespace {

json_object* json(const std::string& text) {
  return jsonText(text);
}

json_object* json(double number) {
  if (std::isnan(number)) return nullptr;
  const bool infinite = std::isinf(number);
  const std::string digits = infinite ? (number < 0 ? "-1e999" : "1e999") : shortestDigits(number);
  return json_object_new_double_s(number, digits.c_str());
}

json_object* json(std::int64_t number) {
  return json_object_new_int64(number);
}

json_object* json(bool truth) {
  return json_object_new_boolean(truth);
}

json_object* json(const ZQVuoColor& color) {
  json_object* object = json_object_new_object();
  json_object_object_add(object, "r", json(color.red));
  json_object_object_add(object, "g", json(color.green));
  json_object_object_add(object, "b", json(color.blue));
  json_object_object_add(object, "a", json(color.alpha));
  return object;
}

json_object* json(const ZQVuoPoint& point) {
  json_object* object = json_object_new_object();
  json_object_object_add(object, "x", json(point.x));
  json_object_object_add(object, "y", json(point.y));
  return object;
}

json_object* json(const std::optional<double>& number) {
  return number ? json(*number) : nullptr;
}

json_object* json(const ZQVuoCompositionPort::Value& value) {
  if (!value) return nullptr;
  return std::visit([](const auto& contents) { return json(contents); }, value->contents());
}

json_object* nameOf(const ZQVuoComposition::Port& port) {
  return port ? json(port->portName()) : nullptr;
}

json_object* typeName(ZQVuoPortType type) {
  const char* name = ZQVuoPortTypeDescription(type);
  return name ? json_object_new_string(name) : nullptr;
}

json_object* json(const ZQVuoCompositionPort& port, const Preset& preset) {
  const auto value = preset.values.find(port.portName());
  const auto file = preset.imageFiles.find(port.portName());
  json_object* object = json_object_new_object();
  json_object_object_add(object, "name", json(port.portName()));
  json_object_object_add(object, "type", typeName(port.portType()));
  json_object_object_add(object, "typeCode", json(std::int64_t{port.portType()}));
  json_object_object_add(object, "min", json(port.minVal()));
  json_object_object_add(object, "max", json(port.maxVal()));
  json_object_object_add(object, "default",
                         json(value == preset.values.end() ? port.defaultVal() : value->second));
  json_object_object_add(object, "step", json(port.stepVal()));
  json_object_object_add(object, "wantsUI", json(port.wantsUI()));
  if (file != preset.imageFiles.end()) json_object_object_add(object, "file", json(file->second));
  return object;
}

json_object* json(const ZQVuoCompositionProblem& problem) {
  json_object* object = json_object_new_object();
  const char* kind = ZQVuoProblemKindDescription(problem.kind);
  json_object_object_add(object, "kind", kind ? json_object_new_string(kind) : nullptr);
  const auto whole = [](std::size_t number) { return json(static_cast<std::int64_t>(number)); };
  json_object_object_add(object, "line", problem.line > 0 ? whole(problem.line) : nullptr);
  json_object_object_add(object, "byteOffset",
                         problem.byteOffset ? whole(*problem.byteOffset) : nullptr);
  json_object_object_add(object, "text", json(problem.text));
  return object;
}

json_object* roles(const ZQVuoComposition& composition) {
  json_object* object = json_object_new_object();
  json_object_object_add(object, "width", nameOf(composition.runnerWidthPort()));
  json_object_object_add(object, "height", nameOf(composition.runnerHeightPort()));
  json_object_object_add(object, "time", nameOf(composition.runnerTimePort()));
  json_object_object_add(object, "imageInput", nameOf(composition.runnerImageInputPort()));
  json_object_object_add(object, "imageOutput", nameOf(composition.runnerImageOutputPort()));
  json_object_object_add(object, "textSourceFileInput",
                         nameOf(composition.runnerTxtSrcFileInputPort()));
  return object;
}

std::string textOf(const platform::JsonOwner& object) {
  std::size_t length = 0;
  const char* text = json_object_to_json_string_length(
      object.get(), JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE, &length);
  return {text, length};
}

/// One object at a time: a tree of all ports would take many times the room of its text.
template <class Entries, class ToJson>
std::string listOf(const Entries& entries, ToJson toJson) {
  std::string list;
  for (const auto& entry : entries) {
    list += list.empty() ? "[" : ",";
    list += textOf(platform::JsonOwner(toJson(entry)));
  }
  return list.empty() ? "[]" : list + "]";
}

}  // namespace

std::string describeJson(const ZQVuoComposition& composition, const Preset& preset) {
  const platform::JsonOwner object(json_object_new_object());
  json_object_object_add(object.get(), "path", json(composition.path()));
  json_object_object_add(object.get(), "fileName", json(composition.fileName()));
  json_object_object_add(object.get(), "protocol", json(composition.protocol()));
  json_object_object_add(object.get(), "roles", roles(composition));
  std::string line = textOf(object);
  line.pop_back();  // the lists go in front of the closing brace
  const auto portJson = [&](const ZQVuoComposition::Port& port) { return json(*port, preset); };
  const auto problemJson = [](const ZQVuoCompositionProblem& problem) { return json(problem); };
  line += ",\"inputs\":" + listOf(composition.publishedInputPorts(), portJson);
  line += ",\"outputs\":" + listOf(composition.publishedOutputPorts(), portJson);
  line += ",\"problems\":" + listOf(composition.problems(), problemJson);
  return line + "}";
}
