// Makes one artefact with the runtime's compiler.
#pragma once

#include <optional>
#include <string>

/// Where the steps of one compile read and write.
struct VuoCompileJob {
  std::string compositionPath;
  std::string bitcodePath;
  std::string artefactPath;
  bool isDylib;
};

/// Compiles and links. None on success, else the text for the user, which is empty when the runtime
/// raised something without a message.
std::optional<std::string> compileArtefact(const VuoCompileJob& job);

/// Queues the alert that tells the user about a failed compile.
void queueCompileAlert(const std::string& compositionPath, const std::string& errorText);
