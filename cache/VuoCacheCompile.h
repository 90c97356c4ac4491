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

/// What the user is told about a failed compile.
std::string compileFailureText(const std::string& compositionPath, const std::string& errorText);
/// Queues the alert that says so.
void queueCompileAlert(const std::string& failureText);
