#include "bridging/SharedPoolTextures.h"

#include "platform/hostbuffers/TextureMaker.h"
#include "runtime/VuoSharing.h"

void shareTexturesOfPools() {
  setTextureMakerOfPools(
      [](brannow::GLContextHandle shareGroup, std::size_t width, std::size_t height) {
        VuoSharedTexture made = VuoSharing_makeTexture(shareGroup, width, height);
        return ZQMadeTexture{std::move(made.owner), made.name};
      });
}
