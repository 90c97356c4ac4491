#pragma once

#include "platform/system/GLContext.h"

/// Names the context whose share group every later composition in this process draws in. Concerns
/// the whole process; to be called before the first composition runs. The context must live as long
/// as compositions do.
void VuoGlContext_setGlobalRootContext(platform::GLContextHandle root);
