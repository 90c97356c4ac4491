#include "runtime/VuoSharing.h"

#include "runtime/sharing/TextureSharing.h"

std::string VuoSharing_description() {
  return vuo::TextureSharing::description();
}

void VuoSharing_allow(bool allowed) {
  vuo::TextureSharing::allow(allowed);
}

VuoSharingCounts VuoSharing_counts() {
  const auto& counts = vuo::TextureSharing::counts();
  return {counts.sharedOut, counts.carriedOut, counts.sharedIn, counts.drawnIn, counts.carriedIn};
}
