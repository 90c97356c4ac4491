#pragma once

#include <string>

#include "Brannow/ZQBuffer.h"

/// A size in pixels from "640x360". Throws Failure when the text is none.
ZQSize sizeFromText(const std::string& text);

/// "640x360".
std::string textFromSize(ZQSize size);
