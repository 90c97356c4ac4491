#include "runtime/textures/TexturePool.h"

#include <epoxy/gl.h>

#include <algorithm>
#include <atomic>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <utility>
#include <vector>

#include "runtime/ImagePixels.h"

namespace vuo {
namespace {

std::atomic<long> liveTextureCount{0};

/// A texture that this many images were made without is no longer needed.
constexpr std::uint64_t longestIdleness = 32;

struct Texture {
  GLuint name;
  std::uint64_t width, height;
  PictureBudget::Share share;
  std::uint64_t idleSince = 0;
};

Texture newTexture(std::uint64_t width, std::uint64_t height, PictureBudget::Share share) {
  while (glGetError() != GL_NO_ERROR) {
  }
  GLuint name = 0;
  glGenTextures(1, &name);
  glBindTexture(GL_TEXTURE_2D, name);
  glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, static_cast<GLsizei>(width),
               static_cast<GLsizei>(height), 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
  sampleLikeAPicture();
  glBindTexture(GL_TEXTURE_2D, 0);
  if (glGetError() != GL_NO_ERROR) {
    glDeleteTextures(1, &name);
    throw std::runtime_error("No texture of " + std::to_string(width) + " by " +
                             std::to_string(height) + " pixels could be made");
  }
  ++liveTextureCount;
  return {name, width, height, std::move(share)};
}

/// A context of the textures' group is current.
void deleteTextures(const std::vector<Texture>& textures) {
  for (const Texture& texture : textures) glDeleteTextures(1, &texture.name);
  liveTextureCount -= static_cast<long>(textures.size());
}

}  // namespace

void sampleLikeAPicture() {
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAX_LEVEL, 0);
  for (const GLenum filter : {GL_TEXTURE_MIN_FILTER, GL_TEXTURE_MAG_FILTER})
    glTexParameteri(GL_TEXTURE_2D, filter, GL_LINEAR);
  for (const GLenum wrap : {GL_TEXTURE_WRAP_S, GL_TEXTURE_WRAP_T})
    glTexParameteri(GL_TEXTURE_2D, wrap, GL_CLAMP_TO_EDGE);
}

struct TexturePool::State {
  const std::shared_ptr<ShareGroup> group;
  const std::shared_ptr<PictureBudget> budget;
  std::mutex lock;            ///< guards the fields below; no lock is taken inside it
  std::vector<Texture> idle;  ///< the one that was used last stands last
  std::uint64_t imagesMade = 0;
  bool ended = false;

  std::optional<Texture> take(std::uint64_t width, std::uint64_t height) {
    std::lock_guard hold(lock);
    const auto found = std::find_if(idle.rbegin(), idle.rend(), [&](const Texture& texture) {
      return texture.width == width && texture.height == height;
    });
    if (found == idle.rend()) return std::nullopt;
    Texture texture = std::move(*found);
    idle.erase(std::next(found).base());
    return texture;
  }

  std::vector<Texture> takeOld() {
    std::lock_guard hold(lock);
    ++imagesMade;
    const auto young = std::find_if(idle.begin(), idle.end(), [&](const Texture& texture) {
      return imagesMade - texture.idleSince <= longestIdleness;
    });
    std::vector<Texture> old(std::make_move_iterator(idle.begin()), std::make_move_iterator(young));
    idle.erase(idle.begin(), young);
    return old;
  }

  std::vector<Texture> takeAll() {
    std::lock_guard hold(lock);
    return std::exchange(idle, {});
  }

  /// False when the pool has ended and does not take it.
  bool keep(Texture& texture) {
    std::lock_guard hold(lock);
    if (ended) return false;
    texture.idleSince = imagesMade;
    idle.push_back(std::move(texture));
    return true;
  }

  std::vector<Texture> end() {
    std::lock_guard hold(lock);
    ended = true;
    return std::exchange(idle, {});
  }

  void deleteElsewhere(const std::vector<Texture>& textures) {
    if (!textures.empty()) group->withContext([&] { deleteTextures(textures); });
  }
};

/// What an image's free callback needs to give its texture back.
struct TexturePool::Loan {
  std::shared_ptr<State> state;
  Texture texture;
};

TexturePool::TexturePool(std::shared_ptr<ShareGroup> group, std::shared_ptr<PictureBudget> budget)
    : _state(new State{std::move(group), std::move(budget), {}, {}}) {}

TexturePool::~TexturePool() {
  _state->deleteElsewhere(_state->end());
}

ImageRef TexturePool::newImage(std::uint64_t width, std::uint64_t height) {
  const std::size_t bytes = pixelBytes(width, height);
  deleteTextures(_state->takeOld());
  auto texture = _state->take(width, height);
  if (!texture) {
    if (!_state->budget->hasRoomFor(bytes)) deleteTextures(_state->takeAll());
    texture = newTexture(width, height, PictureBudget::take(_state->budget, bytes));
  }
  const std::uint32_t name = texture->name;
  return ImageRef(VuoImage_makeClientOwned(name, GL_RGBA8, width, height, giveBack,
                                           new Loan{_state, std::move(*texture)}));
}

void TexturePool::madeElsewhere() {
  deleteTextures(_state->takeOld());
}

void TexturePool::giveBack(VuoImage image) {
  const std::unique_ptr<Loan> loan(static_cast<Loan*>(image->freeCallbackContext));
  if (loan->state->keep(loan->texture)) return;
  std::vector<Texture> unwanted;
  unwanted.push_back(std::move(loan->texture));
  loan->state->deleteElsewhere(unwanted);
}

long TexturePool::liveTextures() {
  return liveTextureCount;
}

}  // namespace vuo
