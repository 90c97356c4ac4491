#pragma once

#include "runtime/ImageRef.h"

namespace vuo {

/// Where pictures that leave the composition may be drawn, so that they need not be copied.
class PictureSource {
 public:
  virtual ~PictureSource() = default;
  /// An image as TexturePool makes them, or none. On the composition's thread, with its context
  /// current.
  virtual ImageRef newImage(std::uint64_t width, std::uint64_t height) = 0;
};

}  // namespace vuo
