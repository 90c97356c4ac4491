#include "bridging/SharedPoolTextures.h"

#include "platform/hostbuffers/ZQBufferPool.h"
#include "runtime/VuoSharing.h"

void shareTexturesOfPools() {
  ZQBufferPool::setTextureMaker(
      [](platform::GLContextHandle shareGroup, std::size_t width, std::size_t height) {
        VuoSharedTexture made = VuoSharing_makeTexture(shareGroup, width, height);
        return ZQMadeTexture{std::move(made.owner), made.name};
      });
}
