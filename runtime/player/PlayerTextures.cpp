#include "runtime/player/PlayerTextures.h"

#include <epoxy/gl.h>

#include <algorithm>
#include <map>
#include <stdexcept>

#include "platform/system/Mutex.h"
#include "runtime/ImagePixels.h"
#include "runtime/sharing/MemoryTexture.h"

namespace vuo {
namespace {

/// A lent texture that this many pictures were drawn without is no longer needed.
constexpr std::uint64_t longestIdleness = 32;

struct Shared {
  ImageMemory memory;
  bool isLent = false;
  bool isGone = false;  ///< for the host: to be deleted
  std::optional<MemoryTexture> texture = std::nullopt;
  // Of a lent one:
  bool isHosts = false, isDrawn = false;  ///< which images of either end are over it
  std::uint64_t idleSince = 0;
};

}  // namespace

/// Lives as long as an image over one of the textures.
struct PlayerTextures::State {
  platform::Mutex lock;  ///< no lock is taken inside it
  std::map<std::uint32_t, Shared> textures GUARDED_BY(lock);
  std::vector<std::uint32_t> left GUARDED_BY(lock);
  std::uint64_t imagesMade GUARDED_BY(lock) = 0;

  Shared& lent(std::uint32_t number) REQUIRES(lock) {
    const auto found = textures.find(number);
    if (found == textures.end() || !found->second.isLent || !found->second.isHosts)
      throw ProtocolError("it gave back a texture that it did not have");
    return found->second;
  }
  Shared& input(std::uint32_t number) REQUIRES(lock) {
    const auto found = textures.find(number);
    if (found == textures.end() || found->second.isLent || found->second.isGone)
      throw ProtocolError("it named a texture that there is not");
    return found->second;
  }
};

/// What an image's free callback needs.
struct PlayerTextures::Loan {
  std::shared_ptr<State> state;
  std::uint32_t number;
};

PlayerTextures::PlayerTextures() : _state(std::make_shared<State>()) {}

void PlayerTextures::handle(message::Texture& said, platform::FileDescriptor memory) {
  pixelBytes(said.width, said.height);  // throws for a size that no picture may have
  Shared texture{{said.width, said.height, said.memory, said.isDedicated, std::move(said.head),
                  std::move(memory)},
                 said.isLent};
  platform::LockGuard hold(_state->lock);
  texture.idleSince = _state->imagesMade;
  if (!_state->textures.emplace(said.texture, std::move(texture)).second)
    throw ProtocolError("it used a texture's number twice");
}

void PlayerTextures::handle(const message::TextureGone& gone) {
  platform::LockGuard hold(_state->lock);
  _state->input(gone.texture).isGone = true;
}

void PlayerTextures::giveBack(const std::vector<std::uint32_t>& lent) {
  platform::LockGuard hold(_state->lock);
  for (const std::uint32_t number : lent) _state->lent(number).isHosts = false;
}

ImageRef PlayerTextures::input(std::uint32_t number) {
  platform::LockGuard hold(_state->lock);
  const Shared& shared = _state->input(number);
  if (!shared.texture) throw ProtocolError("it named a texture that was not taken");
  return ImageRef(VuoImage_makeClientOwned(shared.texture->texture, GL_RGBA8, shared.memory.width,
                                           shared.memory.height, leaveInput,
                                           new Loan{_state, number}));
}

void PlayerTextures::leaveInput(VuoImage image) {
  const std::unique_ptr<Loan> loan(static_cast<Loan*>(image->freeCallbackContext));
  platform::LockGuard hold(loan->state->lock);
  loan->state->left.push_back(loan->number);
}

/// Once it is made, a texture's memory needs no descriptor here.
std::vector<message::TextureTaken> PlayerTextures::work() {
  std::vector<message::TextureTaken> answers;
  platform::LockGuard hold(_state->lock);
  for (auto each = _state->textures.begin(); each != _state->textures.end();) {
    auto& [number, shared] = *each;
    bool isGone = shared.isGone;
    if (!shared.texture && !isGone) {
      message::TextureTaken answer{number, {}};
      try {
        if (!shared.memory.descriptor)
          throw std::runtime_error("There is no descriptor left for a shared picture");
        shared.texture = MemoryTexture::over(shared.memory);
        shared.memory.descriptor = {};
      } catch (const std::exception& fault) {
        answer.fault = fault.what();
        isGone = true;
      }
      answers.push_back(std::move(answer));
    } else if (shared.isLent && !shared.isHosts && !shared.isDrawn &&
               _state->imagesMade - shared.idleSince > longestIdleness) {
      _state->left.push_back(number);
      isGone = true;
    }
    if (isGone && shared.texture) shared.texture->destroy();
    each = isGone ? _state->textures.erase(each) : std::next(each);
  }
  return answers;
}

ImageRef PlayerTextures::newImage(std::uint64_t width, std::uint64_t height) {
  platform::LockGuard hold(_state->lock);
  ++_state->imagesMade;
  for (auto& [number, shared] : _state->textures) {
    if (!shared.texture || !shared.isLent || shared.isHosts || shared.isDrawn ||
        shared.memory.width != width || shared.memory.height != height)
      continue;
    shared.isDrawn = true;
    shared.idleSince = _state->imagesMade;
    return ImageRef(VuoImage_makeClientOwned(shared.texture->texture, GL_RGBA8, width, height,
                                             giveBackLent, new Loan{_state, number}));
  }
  return ImageRef();
}

void PlayerTextures::giveBackLent(VuoImage image) {
  const std::unique_ptr<Loan> loan(static_cast<Loan*>(image->freeCallbackContext));
  platform::LockGuard hold(loan->state->lock);
  Shared& shared = loan->state->textures.at(loan->number);
  shared.isDrawn = false;
  shared.idleSince = loan->state->imagesMade;
}

std::optional<std::uint32_t> PlayerTextures::handOver(const ImageRef& image) {
  if (image->freeCallback != giveBackLent) return std::nullopt;
  const std::uint32_t number = static_cast<const Loan*>(image->freeCallbackContext)->number;
  platform::LockGuard hold(_state->lock);
  if (std::exchange(_state->textures.at(number).isHosts, true)) return std::nullopt;
  return number;
}

std::vector<std::uint32_t> PlayerTextures::popLeft() {
  platform::LockGuard hold(_state->lock);
  return std::exchange(_state->left, {});
}

}  // namespace vuo
