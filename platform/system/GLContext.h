// The GL contexts that hosts and this system share.
#pragma once

#include "Brannow/GLContext.h"

namespace platform {

using brannow::GLContext;
using brannow::GLContextHandle;
using brannow::GLCurrent;

}  // namespace platform
