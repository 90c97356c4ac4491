// The file that a composition is compiled to: a head, and behind it the plan.
//
//   #!/…/Helpers/vuo-player          executables only: the program that runs them
//   VuoPlan FORMAT CHECKSUM LENGTH
//   the plan's text
//
// The checksum is the CRC-32 of the first line, where there is one, and of the plan.
#pragma once

#include <string>

namespace vuo {

/// The number of the form that plans have, in every change of which it grows.
constexpr int planFormat = 4;

/// What makes a program in the eyes of the system: the first line of an executable.
std::string executableLine(const std::string& program);

/// The artefact with that plan. `firstLine` is empty for a library.
std::string artefactOf(const std::string& planText, const std::string& firstLine = "");

/// The plan's text in an artefact. Throws std::runtime_error that says why, when a bit of it is not
/// as it was written or the plan has another format.
std::string planTextIn(const std::string& artefact);
/// The same of an open file, whose position does not matter and does not change.
std::string planTextIn(int fileDescriptor);

}  // namespace vuo
