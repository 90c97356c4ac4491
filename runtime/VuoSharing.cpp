#include "runtime/VuoSharing.h"

#include <stdexcept>

#include "runtime/sharing/TextureSharing.h"

std::string VuoSharing_description() {
  return vuo::TextureSharing::description();
}

void VuoSharing_allow(bool allowed) {
  vuo::TextureSharing::allow(allowed);
}

VuoSharedTexture VuoSharing_makeTexture(platform::GLContextHandle shareGroup, std::size_t width,
                                        std::size_t height) try {
  if (!vuo::TextureSharing::isAllowed() || vuo::TextureSharing::identity().empty() ||
      vuo::ShareGroup::current()->root() != shareGroup)
    return {};
  const auto texture = vuo::TextureSharing::make(width, height, {});
  return {texture, texture->name()};
} catch (const std::exception&) {
  return {};
}

VuoSharingCounts VuoSharing_counts() {
  const auto& counts = vuo::TextureSharing::counts();
  return {counts.sharedOut, counts.carriedOut, counts.sharedIn, counts.drawnIn, counts.carriedIn};
}
