#pragma once

#include "Brannow/GLContext.h"

/// What the host has named by `setGlobalVuoGLContext`; none before that.
brannow::GLContextHandle globalContextHandle();
