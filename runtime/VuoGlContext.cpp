#include "runtime/VuoGlContext.h"

#include "runtime/textures/ShareGroup.h"

void VuoGlContext_setGlobalRootContext(platform::GLContextHandle root) {
  vuo::ShareGroup::setRoot(root);
}
