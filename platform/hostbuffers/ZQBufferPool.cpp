#include "Brannow/ZQBufferPool.h"

#include <epoxy/gl.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstring>
#include <deque>
#include <optional>
#include <unordered_map>

#include "platform/hostbuffers/TextureMaker.h"
#include "platform/system/Mutex.h"

ZQBufferPool* _globalZQBufferPool = nullptr;

namespace {

constexpr std::size_t kMostIdleTextures = 16;
/// Each holds a descriptor, of which a process has 1024 where nobody has asked for more.
constexpr std::size_t kMostMadeElsewhere = 64;
constexpr std::size_t kBytesPerPixel = 4;

/// Lives until the process is gone.
struct TextureMaking {
  platform::Mutex lock;  ///< no lock is taken inside it
  ZQTextureMaker maker GUARDED_BY(lock);
};

TextureMaking& theTextureMaking() {
  static TextureMaking& making = *new TextureMaking;
  return making;
}

ZQTextureMaker textureMaker() {
  TextureMaking& making = theTextureMaking();
  platform::LockGuard guard(making.lock);
  return making.maker;
}

struct Texture {
  GLenum target = 0;
  std::size_t width = 0;
  std::size_t height = 0;
  GLuint name = 0;

  bool sameKind(const Texture& other) const {
    return target == other.target && width == other.width && height == other.height;
  }
};

/// A part of a texture in whole pixels, counted from the first row in memory.
struct Area {
  GLint x = 0;
  GLint y = 0;
  GLsizei width = 0;
  GLsizei height = 0;
};

bool isComplete(const ZQPixels& pixels) {
  const std::size_t count = pixels.rgba.size() / kBytesPerPixel;
  return pixels.rgba.size() % kBytesPerPixel == 0 && pixels.width != 0 &&
         count % pixels.width == 0 && count / pixels.width == pixels.height;
}

std::vector<std::uint8_t> rowsReversed(const std::vector<std::uint8_t>& rgba,
                                       std::size_t rowBytes) {
  std::vector<std::uint8_t> reversed(rgba.size());
  for (std::size_t row = 0; row < rgba.size(); row += rowBytes)
    std::memcpy(&reversed[rgba.size() - row - rowBytes], &rgba[row], rowBytes);
  return reversed;
}

void specify(const Texture& texture) {
  glBindTexture(texture.target, texture.name);
  glTexImage2D(texture.target, 0, GL_RGBA8, static_cast<GLsizei>(texture.width),
               static_cast<GLsizei>(texture.height), 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
  glTexParameteri(texture.target, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
  glTexParameteri(texture.target, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
  glTexParameteri(texture.target, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
  glTexParameteri(texture.target, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
}

void upload(const ZQPixels& pixels, const ZQBuffer& buffer) {
  const auto rows = rowsReversed(pixels.rgba, pixels.width * kBytesPerPixel);
  glBindTexture(buffer.target(), buffer.name());
  glTexSubImage2D(buffer.target(), 0, 0, 0, static_cast<GLsizei>(pixels.width),
                  static_cast<GLsizei>(pixels.height), GL_RGBA, GL_UNSIGNED_BYTE, rows.data());
}

GLint clampedToWholePixel(double value, GLint limit) {
  // fmin and fmax also settle values that are not a number.
  return static_cast<GLint>(std::fmax(0.0, std::fmin(std::round(value), limit)));
}

/// The buffer's source rectangle, cut to what its texture really holds.
Area readableArea(const ZQBuffer& buffer) {
  GLint textureWidth = 0;
  GLint textureHeight = 0;
  glGetTexLevelParameteriv(buffer.target(), 0, GL_TEXTURE_WIDTH, &textureWidth);
  glGetTexLevelParameteriv(buffer.target(), 0, GL_TEXTURE_HEIGHT, &textureHeight);
  const ZQRect rect = buffer.srcRect();
  const GLint left = clampedToWholePixel(rect.x, textureWidth);
  const GLint bottom = clampedToWholePixel(rect.y, textureHeight);
  const GLint right = clampedToWholePixel(rect.x + rect.width, textureWidth);
  const GLint top = clampedToWholePixel(rect.y + rect.height, textureHeight);
  return {left, bottom, std::max(0, right - left), std::max(0, top - bottom)};
}

/// GL's rows begin at the bottom.
void turnUpsideDown(std::vector<std::uint8_t>& rows, std::size_t rowBytes) {
  for (std::size_t low = 0, high = rows.size(); low + rowBytes < high; low += rowBytes) {
    high -= rowBytes;
    std::swap_ranges(&rows[low], &rows[low] + rowBytes, &rows[high]);
  }
}

bool readFramebuffer(const Area& area, ZQPixels& pixels) {
  if (glCheckFramebufferStatus(GL_READ_FRAMEBUFFER) != GL_FRAMEBUFFER_COMPLETE) return false;
  pixels.width = static_cast<std::size_t>(area.width);
  pixels.height = static_cast<std::size_t>(area.height);
  const std::size_t rowBytes = pixels.width * kBytesPerPixel;
  pixels.rgba.resize(pixels.height * rowBytes);
  glReadPixels(area.x, area.y, area.width, area.height, GL_RGBA, GL_UNSIGNED_BYTE,
               pixels.rgba.data());
  turnUpsideDown(pixels.rgba, rowBytes);
  return true;
}

bool readTexture(const ZQBuffer& buffer, ZQPixels& pixels) {
  if (!glIsTexture(buffer.name())) return false;
  // Another context may have drawn into the texture; binding it makes that visible here.
  glBindTexture(buffer.target(), buffer.name());
  const Area area = readableArea(buffer);
  if (area.width == 0 || area.height == 0) return false;

  GLuint framebuffer = 0;
  glGenFramebuffers(1, &framebuffer);
  glBindFramebuffer(GL_READ_FRAMEBUFFER, framebuffer);
  glFramebufferTexture2D(GL_READ_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, buffer.target(), buffer.name(),
                         0);
  bool isRead = false;
  try {
    isRead = readFramebuffer(area, pixels);
  } catch (const std::bad_alloc&) {
    // Its pixels are not read.
  }
  glDeleteFramebuffers(1, &framebuffer);
  return isRead;
}

}  // namespace

struct ZQBufferPool::State {
  std::shared_ptr<brannow::GLContext> context;
  GLint largest2D = 0;
  GLint largestRectangle = 0;
  std::atomic<std::size_t> textureCount{0};

  /// Held while `context` is current on a thread. Neither lock is ever taken under the other, and
  /// nothing but GL is called under them, so they come last after any lock of a caller.
  platform::Mutex gpuLock;
  platform::Mutex idleLock;
  std::deque<Texture> idle GUARDED_BY(idleLock);  ///< the one given back first comes first
  /// Who keeps the textures that were made elsewhere, by name.
  std::unordered_map<GLuint, std::shared_ptr<void>> madeElsewhere GUARDED_BY(idleLock);
  brannow::GLContextHandle shareGroup;

  /// Runs `work` in the pool's context and waits for the GPU; true when GL found no fault.
  template <class Work>
  bool onGpu(Work work) EXCLUDES(gpuLock, idleLock);
  void readLimits();
  bool fits(const Texture& kind) const;
  std::optional<Texture> popIdle(const Texture& kind);
  bool keep(const Texture& texture) REQUIRES(idleLock);
  std::optional<Texture> make(Texture kind);
  bool makeElsewhere(Texture& kind) EXCLUDES(gpuLock, idleLock);
  void destroy(const Texture& texture);
};

template <class Work>
bool ZQBufferPool::State::onGpu(Work work) {
  platform::LockGuard guard(gpuLock);
  const brannow::GLCurrent current(*context);
  if (!current) return false;
  work();
  glFinish();
  // A texture that stays bound would outlive its deletion by another context.
  glBindTexture(GL_TEXTURE_2D, 0);
  glBindTexture(GL_TEXTURE_RECTANGLE, 0);
  return glGetError() == GL_NO_ERROR;
}

void ZQBufferPool::State::readLimits() {
  glGetIntegerv(GL_MAX_TEXTURE_SIZE, &largest2D);
  glGetIntegerv(GL_MAX_RECTANGLE_TEXTURE_SIZE, &largestRectangle);
}

bool ZQBufferPool::State::fits(const Texture& kind) const {
  if (kind.target != GL_TEXTURE_2D && kind.target != GL_TEXTURE_RECTANGLE) return false;
  const auto largest =
      static_cast<std::size_t>(kind.target == GL_TEXTURE_2D ? largest2D : largestRectangle);
  return kind.width > 0 && kind.width <= largest && kind.height > 0 && kind.height <= largest;
}

std::optional<Texture> ZQBufferPool::State::popIdle(const Texture& kind) {
  platform::LockGuard guard(idleLock);
  const auto found = std::find_if(idle.begin(), idle.end(),
                                  [&](const Texture& texture) { return texture.sameKind(kind); });
  if (found == idle.end()) return std::nullopt;
  const Texture texture = *found;
  idle.erase(found);
  return texture;
}

/// False without memory for it.
bool ZQBufferPool::State::keep(const Texture& texture) try {
  idle.push_back(texture);
  return true;
} catch (const std::bad_alloc&) {
  return false;
}

bool ZQBufferPool::State::makeElsewhere(Texture& kind) {
  const ZQTextureMaker maker = textureMaker();
  if (!maker || kind.target != GL_TEXTURE_2D) return false;
  {
    platform::LockGuard guard(idleLock);
    if (madeElsewhere.size() >= kMostMadeElsewhere) return false;
  }
  ZQMadeTexture made = maker(shareGroup, kind.width, kind.height);
  if (!made.owner) return false;
  platform::LockGuard guard(idleLock);
  kind.name = made.name;
  madeElsewhere.emplace(made.name, std::move(made.owner));
  textureCount++;
  return true;
}

std::optional<Texture> ZQBufferPool::State::make(Texture kind) {
  if (makeElsewhere(kind)) return kind;
  const bool made = onGpu([&] {
    glGenTextures(1, &kind.name);
    specify(kind);
  });
  if (kind.name != 0) textureCount++;
  if (made) return kind;
  destroy(kind);
  return std::nullopt;
}

void ZQBufferPool::State::destroy(const Texture& texture) {
  if (texture.name == 0) return;
  std::shared_ptr<void> owner;  // goes without the lock
  {
    platform::LockGuard guard(idleLock);
    if (const auto found = madeElsewhere.find(texture.name); found != madeElsewhere.end()) {
      owner = std::move(found->second);
      madeElsewhere.erase(found);
    }
  }
  if (owner) {
    textureCount--;
    return;
  }
  if (onGpu([&] { glDeleteTextures(1, &texture.name); })) textureCount--;
}

std::unique_ptr<ZQBufferPool> ZQBufferPool::create(brannow::GLContextHandle shareGroup) {
  auto state = std::make_unique<State>();
  state->context = brannow::GLContext::createSharedWith(shareGroup);
  state->shareGroup = shareGroup;
  if (!state->context || !state->onGpu([&] { state->readLimits(); })) return nullptr;
  return std::unique_ptr<ZQBufferPool>(new ZQBufferPool(std::move(state)));
}

ZQBufferPool::ZQBufferPool(std::unique_ptr<State> state) : _state(std::move(state)) {}

ZQBufferPool::~ZQBufferPool() {
  ZQBufferPool::prepareToBeDeleted();
}

void ZQBufferPool::prepareToBeDeleted() {
  GLScene::prepareToBeDeleted();
  purgeIdleBuffers();
}

ZQBufferRef ZQBufferPool::allocBuffer(std::size_t width, std::size_t height,
                                      std::uint32_t target) try {
  const Texture kind{target, width, height, 0};
  if (deleted() || !_state->fits(kind)) return nullptr;
  auto buffer = ZQBufferRef::adopt(ZQBuffer::initWithPool(this));
  std::optional<Texture> texture = _state->popIdle(kind);
  if (!texture) texture = _state->make(kind);
  if (!texture) return nullptr;

  ZQBufferDescriptor& descriptor = *buffer->descriptorPtr();
  descriptor.target = target;
  descriptor.internalFormat = GL_RGBA8;
  descriptor.pixelFormat = GL_RGBA;
  descriptor.pixelType = GL_UNSIGNED_BYTE;
  descriptor.name = texture->name;
  const ZQSize size{static_cast<double>(width), static_cast<double>(height)};
  buffer->setSize(size);
  buffer->setSrcRect({0, 0, size.width, size.height});
  buffer->setBackingSize(size);
  timestampThisBuffer(*buffer);
  return buffer;
} catch (const std::bad_alloc&) {
  return nullptr;
}

ZQBufferRef ZQBufferPool::allocBufferWithPixels(const ZQPixels& pixels, std::uint32_t target) try {
  if (!isComplete(pixels)) return nullptr;
  ZQBufferRef buffer = allocBuffer(pixels.width, pixels.height, target);
  if (!buffer || !_state->onGpu([&] { upload(pixels, *buffer); })) return nullptr;
  return buffer;
} catch (const std::bad_alloc&) {
  return nullptr;
}

ZQPixels ZQBufferPool::readPixels(const ZQBuffer& buffer) {
  ZQPixels pixels;
  readPixels(buffer, pixels);
  return pixels;
}

void ZQBufferPool::readPixels(const ZQBuffer& buffer, ZQPixels& pixels) try {
  bool isRead = false;
  if (!_state->onGpu([&] { isRead = readTexture(buffer, pixels); }) || !isRead) pixels = {};
} catch (const std::bad_alloc&) {
  pixels = {};
}

void ZQBufferPool::takeBackTexture(const ZQBuffer& buffer) {
  const ZQSize size = buffer.backingSize();
  std::optional<Texture> unwanted = Texture{buffer.target(), static_cast<std::size_t>(size.width),
                                            static_cast<std::size_t>(size.height), buffer.name()};
  if (!buffer.preferDeletion()) {
    platform::LockGuard guard(_state->idleLock);
    // Asked under the lock, so that nothing is kept after the purge of a pool that goes.
    if (!deleted() && _state->keep(*unwanted)) {
      unwanted.reset();
      if (_state->idle.size() > kMostIdleTextures) {
        unwanted = _state->idle.front();
        _state->idle.pop_front();
      }
    }
  }
  if (unwanted) _state->destroy(*unwanted);
}

void ZQBufferPool::purgeIdleBuffers() {
  std::deque<Texture> idle;
  {
    platform::LockGuard guard(_state->idleLock);
    idle.swap(_state->idle);
  }
  for (const Texture& texture : idle) _state->destroy(texture);
}

std::size_t ZQBufferPool::textureCount() const {
  return _state->textureCount;
}

void setTextureMakerOfPools(ZQTextureMaker maker) {
  TextureMaking& making = theTextureMaking();
  platform::LockGuard guard(making.lock);
  making.maker = std::move(maker);
}

void ZQBufferPool::timestampThisBuffer(ZQBuffer& buffer) {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  buffer._timestamp = std::chrono::duration_cast<std::chrono::nanoseconds>(now).count();
}
