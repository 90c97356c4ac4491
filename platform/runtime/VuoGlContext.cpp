#include "platform/runtime/VuoGlContext.h"

#include "platform/runtime/textures/ShareGroup.h"

void VuoGlContext_setGlobalRootContext(platform::GLContextHandle root) {
  vuo::ShareGroup::setRoot(root);
}
