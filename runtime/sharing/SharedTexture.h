#pragma once

#include <memory>

#include "runtime/RuntimeExport.h"
#include "runtime/sharing/ImageMemory.h"
#include "runtime/sharing/MemoryTexture.h"
#include "runtime/textures/PictureBudget.h"
#include "runtime/textures/ShareGroup.h"

namespace vuo {

/// A texture of this process's whose memory other processes may be handed. What was found out once
/// about its name holds until it goes. Any thread may let go of it.
class SharedTexture {
 public:
  /// A context of the group is current. Throws std::runtime_error.
  SharedTexture(std::shared_ptr<ShareGroup> group, ImageMemory memory, PictureBudget::Share share);
  ~SharedTexture();
  SharedTexture(const SharedTexture&) = delete;
  SharedTexture& operator=(const SharedTexture&) = delete;

  std::uint32_t name() const { return _texture.texture; }
  const ImageMemory& memory() const { return _memory; }
  const std::shared_ptr<ShareGroup>& group() const { return _group; }
  bool hasSize(std::uint64_t width, std::uint64_t height) const {
    return _memory.width == width && _memory.height == height;
  }

  /// How many there are in this process.
  BRANNOW_RUNTIME static long liveTextures();

 private:
  const std::shared_ptr<ShareGroup> _group;
  const ImageMemory _memory;
  const PictureBudget::Share _share;
  const MemoryTexture _texture;
};

}  // namespace vuo
