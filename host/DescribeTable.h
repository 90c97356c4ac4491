#pragma once

#include <string>

#include "Brannow/ZQVuoComposition.h"

/// What a composition publishes, in aligned columns for people. Long texts are cut, and characters
/// that could steer a terminal are spelled out.
std::string describeTable(const ZQVuoComposition& composition);
