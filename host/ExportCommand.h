#pragma once

#include <optional>
#include <string>

struct ExportOptions {
  std::string file;
  std::optional<std::string> output;
  std::optional<std::string> templateFile;
  bool inProcess = false;
};

/// `brannow export --frei0r`: makes a frei0r plug-in with the composition, its shaders, pictures
/// and text inside, so that it can be carried off on its own. The composition is compiled once, to
/// see that it can be and which files it names. The result is the exit status; whatever goes wrong
/// ends with a message on standard error, and a previous plug-in stays.
int exportPlugin(const ExportOptions& options);
