#pragma once

#include <string>

#include "Brannow/GLContext.h"
#include "Brannow/ZQBuffer.h"

/// Throws Failure, with the limit, when the graphics driver draws no picture of this size. `what`
/// tells people which picture is meant.
void requireDrawable(const brannow::GLContext& context, ZQSize size, const std::string& what);
