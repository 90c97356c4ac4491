#pragma once

#include <atomic>
#include <string>

#include "runtime/VuoImage.h"
#include "runtime/sharing/SharedTexture.h"

namespace vuo {

/// The host's choice: whether pictures go to and from other processes as textures that both have,
/// or through memory. This is the one place where it is made. Any thread.
class TextureSharing {
 public:
  /// Has it found out, on a thread that is nobody's, whether this machine can share textures; once
  /// per process, and only if it is allowed. Returns at once; until it is known nothing is shared.
  static void prepare();
  /// The device and driver that textures are shared on; empty while they are not.
  static std::string identity();
  /// For people: which way serves, and why where it is not the better one.
  static std::string description();
  /// Some pictures go through memory nevertheless, and why.
  static void fellBack(const std::string& why);
  /// Takes effect for compositions that are started from now on. At first the environment decides:
  /// BRANNOW_SHARED_TEXTURES=0 forbids it.
  static void allow(bool allowed);
  static bool isAllowed();

  /// How many pictures went by which way; counted by whoever sees them go.
  struct Counts {
    std::atomic<long> sharedOut = 0, carriedOut = 0, sharedIn = 0, drawnIn = 0, carriedIn = 0;
  };
  static Counts& counts();

  /// A new texture in the group of the process's root context. Throws std::runtime_error where
  /// there is none to be had.
  static std::shared_ptr<SharedTexture> make(std::uint64_t width, std::uint64_t height,
                                             PictureBudget::Share share);
  /// The shared texture that the image is the whole of; null where it is none.
  static std::shared_ptr<SharedTexture> of(VuoImage image);
};

}  // namespace vuo
