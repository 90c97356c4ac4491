// By which way pictures go to and from compositions in processes of their own.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "platform/system/GLContext.h"
#include "runtime/RuntimeExport.h"

/// For people: "shared textures", or "shared memory" and why. It is found out when the first
/// picture has come from such a process, so it may change once. Any thread.
BRANNOW_RUNTIME std::string VuoSharing_description();

/// Whether compositions that are started from now on may share textures, where the machine can. At
/// first the environment decides: BRANNOW_SHARED_TEXTURES=0 forbids it. Any thread.
BRANNOW_RUNTIME void VuoSharing_allow(bool allowed);

/// A GL_TEXTURE_2D of format GL_RGBA8, sampled like a picture, that compositions in processes of
/// their own read where it lies. It lives as long as `owner`, which is null where there is none to
/// be had: where nothing is shared, or not in the share group of that context. Any thread.
struct VuoSharedTexture {
  std::shared_ptr<void> owner;
  std::uint32_t name = 0;
};
VuoSharedTexture VuoSharing_makeTexture(platform::GLContextHandle shareGroup, std::size_t width,
                                        std::size_t height);

/// How many pictures have gone by which way in this process.
struct VuoSharingCounts {
  long sharedOut = 0;  ///< drawn by the composition in a texture that the host has, too
  long carriedOut = 0;
  long sharedIn = 0;  ///< read by the composition where they lay
  long drawnIn = 0;   ///< drawn once in a texture that the composition has, too
  long carriedIn = 0;
};
BRANNOW_RUNTIME VuoSharingCounts VuoSharing_counts();
