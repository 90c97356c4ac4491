// Where the GL driver of one composition's player keeps the shaders that it has translated. What a
// player leaves there is code that the next one runs, so it is nobody else's: not the host's, not
// another composition's, and not that of another artefact under the same name.
#pragma once

#include <string>
#include <vector>

namespace vuo {

/// The folder for the player of that artefact, beside it; made where there is none, and emptied
/// when there is more in it than a composition needs. Empty text where there can't be one.
std::string shaderFolderOf(const std::string& artefact);

/// The variables by which a driver finds it, or is told that it has none.
std::vector<std::string> shaderFolderVariables(const std::string& folder);

}  // namespace vuo
