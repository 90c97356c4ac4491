#pragma once

#include <string>

#include "platform/hostbuffers/ZQBuffer.h"
#include "platform/system/GLContext.h"

/// Throws Failure, with the limit, when the graphics driver draws no picture of this size. `what`
/// tells people which picture is meant.
void requireDrawable(const platform::GLContext& context, ZQSize size, const std::string& what);
