#pragma once

#include <cstdint>
#include <memory>

#include "runtime/ImageRef.h"
#include "runtime/RuntimeExport.h"
#include "runtime/textures/PictureBudget.h"
#include "runtime/textures/ShareGroup.h"

namespace vuo {

/// Makes images over recycled textures. An image may be released on any thread, with or without a
/// current context, before or after the end of its pool; whoever releases it has finished reading
/// the texture on the GPU.
class BRANNOW_RUNTIME TexturePool {
 public:
  /// The textures, idle ones too, take from the budget.
  TexturePool(std::shared_ptr<ShareGroup> group, std::shared_ptr<PictureBudget> budget);
  /// Deletes the textures that no image uses; the others follow as they come back.
  ~TexturePool();
  TexturePool(const TexturePool&) = delete;
  TexturePool& operator=(const TexturePool&) = delete;

  /// An image over a GL_TEXTURE_2D of format GL_RGBA8 with undefined pixels, which may be bound
  /// when this returns. A context of the group is current on the calling thread. Throws
  /// std::runtime_error when there is no memory for it or the budget does not allow it.
  ImageRef newImage(std::uint64_t width, std::uint64_t height);

  /// An image was made without the pool: what it keeps grows older as if it had made it. A context
  /// of the group is current.
  void madeElsewhere();

  /// How many textures of all pools exist in this process.
  static long liveTextures();

 private:
  struct State;
  struct Loan;
  static void giveBack(VuoImage image);
  const std::shared_ptr<State> _state;
};

/// Sets the bound texture's parameters to what every picture of the runtime is sampled with.
void sampleLikeAPicture();

}  // namespace vuo
