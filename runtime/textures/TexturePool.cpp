#include "runtime/textures/TexturePool.h"

#include <epoxy/gl.h>

#include <algorithm>
#include <atomic>
#include <list>
#include <stdexcept>
#include <utility>

#include "runtime/ImagePixels.h"

namespace vuo {
namespace {

std::atomic<long> liveTextureCount{0};

/// A texture that this many images were made without is no longer needed.
constexpr std::uint64_t longestIdleness = 32;

struct Texture {
  GLuint name = 0;
  std::uint64_t width = 0, height = 0;
  PictureBudget::Share share;
  std::uint64_t idleSince = 0;
};

/// Handing one on takes no memory, as it happens where images are released.
using Textures = std::list<Texture>;

Textures newTexture(std::uint64_t width, std::uint64_t height, PictureBudget::Share share) {
  Textures made(1);
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
  made.front() = {name, width, height, std::move(share)};
  return made;
}

/// A context of the textures' group is current.
void deleteTextures(const Textures& textures) {
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
  platform::Mutex lock;            ///< no lock is taken inside it
  Textures idle GUARDED_BY(lock);  ///< the one that was used last stands last
  std::uint64_t imagesMade GUARDED_BY(lock) = 0;
  bool ended GUARDED_BY(lock) = false;

  /// One, or none.
  Textures popIdle(std::uint64_t width, std::uint64_t height) {
    platform::LockGuard hold(lock);
    const auto found = std::find_if(idle.rbegin(), idle.rend(), [&](const Texture& texture) {
      return texture.width == width && texture.height == height;
    });
    Textures taken;
    if (found != idle.rend()) taken.splice(taken.end(), idle, std::next(found).base());
    return taken;
  }

  Textures popOld() {
    platform::LockGuard hold(lock);
    const std::uint64_t made = ++imagesMade;
    const auto young = std::find_if(idle.begin(), idle.end(), [made](const Texture& texture) {
      return made - texture.idleSince <= longestIdleness;
    });
    Textures old;
    old.splice(old.end(), idle, idle.begin(), young);
    return old;
  }

  Textures popAll() {
    platform::LockGuard hold(lock);
    return std::exchange(idle, {});
  }

  /// Leaves it when the pool has ended.
  void keep(Textures& texture) {
    platform::LockGuard hold(lock);
    if (ended) return;
    for (Texture& one : texture) one.idleSince = imagesMade;
    idle.splice(idle.end(), texture);
  }

  Textures end() {
    platform::LockGuard hold(lock);
    ended = true;
    return std::exchange(idle, {});
  }

  void deleteElsewhere(const Textures& textures) {
    if (!textures.empty()) group->withContext([&] { deleteTextures(textures); });
  }
};

/// A texture that is out of the pool until this goes.
struct TexturePool::Loan {
  explicit Loan(std::shared_ptr<State> pool) : state(std::move(pool)) {}
  ~Loan() {
    state->keep(texture);
    state->deleteElsewhere(texture);
  }
  const std::shared_ptr<State> state;
  Textures texture;
};

TexturePool::TexturePool(std::shared_ptr<ShareGroup> group, std::shared_ptr<PictureBudget> budget)
    : _state(new State{std::move(group), std::move(budget), {}, {}}) {
  _state->group->prepareForWork();
}

TexturePool::~TexturePool() {
  _state->deleteElsewhere(_state->end());
}

ImageRef TexturePool::newImage(std::uint64_t width, std::uint64_t height) {
  const std::size_t bytes = pixelBytes(width, height);
  deleteTextures(_state->popOld());
  auto loan = std::make_unique<Loan>(_state);
  loan->texture = _state->popIdle(width, height);
  if (loan->texture.empty()) {
    if (!_state->budget->hasRoomFor(bytes)) deleteTextures(_state->popAll());
    loan->texture = newTexture(width, height, PictureBudget::reserve(_state->budget, bytes));
  }
  const std::uint32_t name = loan->texture.front().name;
  ImageRef image(VuoImage_makeClientOwned(name, GL_RGBA8, width, height, giveBack, loan.get()));
  (void)loan.release();  // the image's now
  return image;
}

void TexturePool::madeElsewhere() {
  deleteTextures(_state->popOld());
}

void TexturePool::giveBack(VuoImage image) {
  delete static_cast<Loan*>(image->freeCallbackContext);
}

long TexturePool::liveTextures() {
  return liveTextureCount;
}

}  // namespace vuo
