#include "runtime/sharing/SharedTexture.h"

#include <atomic>

namespace vuo {
namespace {

std::atomic<long> liveTextureCount{0};

}  // namespace

SharedTexture::SharedTexture(std::shared_ptr<ShareGroup> group, ImageMemory memory,
                             PictureBudget::Share share)
    : _group(std::move(group)),
      _memory(std::move(memory)),
      _share(std::move(share)),
      _texture(MemoryTexture::over(_memory)) {
  ++liveTextureCount;
}

SharedTexture::~SharedTexture() {
  _group->withContext([this] { _texture.destroy(); });
  --liveTextureCount;
}

long SharedTexture::liveTextures() {
  return liveTextureCount;
}

}  // namespace vuo
