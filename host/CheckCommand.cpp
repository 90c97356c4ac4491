#include "host/CheckCommand.h"

#include <iostream>

#include "Brannow/CompositionCheck.h"
#include "host/HostSession.h"
#include "host/JsonText.h"
#include "host/TerminalText.h"

namespace {

constexpr int kCannotRun = 1;
constexpr int kWarnings = 2;

json_object* json(std::size_t number) {
  return number > 0 ? json_object_new_int64(static_cast<std::int64_t>(number)) : nullptr;
}

json_object* json(const brannow::CompositionFault& fault) {
  json_object* object = json_object_new_object();
  json_object_object_add(object, "file", jsonText(fault.file));
  json_object_object_add(object, "line", json(fault.line));
  json_object_object_add(object, "column", json(fault.column));
  json_object_object_add(object, "severity",
                         json_object_new_string(fault.isWarning ? "warning" : "error"));
  json_object_object_add(object, "text", jsonText(fault.what));
  return object;
}

std::string jsonLine(const std::string& file,
                     const std::vector<brannow::CompositionFault>& faults) {
  json_object* object = json_object_new_object();
  json_object* list = json_object_new_array();
  for (const auto& fault : faults) json_object_array_add(list, json(fault));
  json_object_object_add(object, "path", jsonText(file));
  json_object_object_add(object, "faults", list);
  const std::string line = json_object_to_json_string_ext(
      object, JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE);
  json_object_put(object);
  return line + "\n";
}

int worst(int status, const brannow::CompositionFault& fault) {
  if (!fault.isWarning) return kCannotRun;
  return status == 0 ? kWarnings : status;
}

}  // namespace

int check(const std::vector<std::string>& files, bool json) {
  const LogSilencer log;  // its lines say less than the faults do
  int status = 0;
  for (const std::string& file : files) {
    const auto faults = brannow::checkComposition(file);
    for (const auto& fault : faults) {
      status = worst(status, fault);
      if (!json) std::cout << terminalText(descriptionOf(fault)) << "\n";
    }
    if (json) std::cout << jsonLine(file, faults);
    if (!std::cout.flush()) return status;
  }
  return status;
}
