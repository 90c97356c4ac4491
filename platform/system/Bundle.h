// Bundles: folders that hold a program or a framework together with what belongs to it.
#pragma once

#include <optional>
#include <string>

#include "platform/system/PropertyList.h"

namespace platform {

/// The nearest folder ending in ".framework" or ".app" above the loaded library or program whose
/// code holds `address`; none when that binary lies in no bundle.
std::optional<std::string> bundlePathContaining(const void* address);

/// The running program's file. The same for the whole life of the process.
const std::string& executablePath();

/// The running host application: its bundle where it has one, else the path of its executable.
/// The same for the whole life of the process.
const std::string& mainBundlePath();

/// What "Resources/Info.plist" of the bundle says; none when it can't be read.
std::optional<PropertyListDictionary> bundleInformation(const std::string& bundlePath);

}  // namespace platform
