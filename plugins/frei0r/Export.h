// What an exported plug-in carries: a composition with the files that it names.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace frei0r {

struct Export {
  struct File {
    std::string name;  ///< from the composition's folder on
    std::string contents;
  };
  bool inProcess = false;
  std::vector<File> files;  ///< the composition is the first
};

std::string bytesFromExport(const Export& contents);
/// None where the bytes are no export, or one of another version.
std::optional<Export> exportFromBytes(std::string_view bytes);

}  // namespace frei0r
