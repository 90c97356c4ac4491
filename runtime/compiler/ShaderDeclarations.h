// What a shader declares to the outside.
#pragma once

#include <string>
#include <vector>

namespace vuo {

/// A global variable with the storage "uniform", "in" or "out".
struct ShaderVariable {
  std::string storage;
  std::string
      type;  ///< as it is written; "struct" or the block's name where it is made on the spot
  std::string name;
  bool isArray = false;
  /// What else stands before the type: "flat", "layout(location=0)", …
  std::vector<std::string> qualifiers;
};

/// Those variables in the order of their declarations, from the text of a shader that a compiler
/// has preprocessed and found to be right.
std::vector<ShaderVariable> declarationsIn(const std::string& preprocessed);

}  // namespace vuo
