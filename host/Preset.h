// What published inputs are to be, in a file.
#pragma once

#include <map>
#include <memory>
#include <string>

#include "Brannow/ZQVuoComposition.h"

/// Values and pictures by the names of the inputs.
struct Preset {
  std::map<std::string, std::shared_ptr<const ZQVuoPortValue>> values;
  std::map<std::string, std::string> imageFiles;
};

/// Whether the host itself gives this input what it needs: the size, the clock, the picture to
/// filter.
bool isTheHosts(const ZQVuoComposition& composition, const ZQVuoComposition::Port& port);

/// A preset is what `describe --json` prints, with an input's value as its "default" and an image
/// input's picture as its "file", from the preset's folder on. Throws Failure when the file can't
/// be read or is nothing of the kind. What does not suit the composition, such as an input that it
/// does not have, is left out and told of on standard error.
Preset readPreset(const std::string& file, const ZQVuoComposition& composition);

/// The file is there whole or as it was before. Throws Failure.
void writePreset(const std::string& file, const ZQVuoComposition& composition,
                 const Preset& preset);
