// Makes one artefact with the runtime's compiler.
#pragma once

#include <optional>
#include <string>
#include <vector>

/// Where the steps of one compile read and write.
struct VuoCompileJob {
  std::string compositionPath;
  std::string bitcodePath;
  std::string artefactPath;
  bool isDylib;
};

/// Compiles and links. None on success, else the text for the user, which is empty when the runtime
/// raised something without a message. `filesNamed` takes the files that the composition names.
std::optional<std::string> compileArtefact(const VuoCompileJob& job,
                                           std::vector<std::string>& filesNamed);

/// What the user is told about a failed compile.
std::string compileFailureText(const std::string& compositionPath, const std::string& errorText);
/// Queues the alert that says so.
void queueCompileAlert(const std::string& failureText);
