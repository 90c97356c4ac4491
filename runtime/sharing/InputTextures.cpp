#include "runtime/sharing/InputTextures.h"

#include <epoxy/gl.h>

#include <algorithm>
#include <atomic>
#include <stdexcept>

#include "runtime/ImagePixels.h"
#include "runtime/Limits.h"
#include "runtime/sharing/LentTextures.h"
#include "runtime/sharing/TextureSharing.h"
#include "runtime/textures/TextureCopy.h"

namespace vuo {
namespace {

/// Of one size, that pictures are copied into: the player keeps one, and another may wait for it.
constexpr std::size_t mostOwnOfASize = 4;
/// A texture that so many pictures were given without is no longer needed.
constexpr std::uint64_t longestIdleness = 32;
constexpr std::chrono::milliseconds patience{50};

}  // namespace

std::optional<NamedPicture> InputTextures::nameFor(const ImageRef& image,
                                                   std::atomic<std::uint32_t>& number) {
  {
    platform::LockGuard hold(_lock);
    if (_refused) return std::nullopt;
    ++_uses;
    forgetOld();
    long named = 0;
    for (const auto& [known, offered] : _offered) named += offered.token.use_count() - 1;
    if (named >= static_cast<long>(mostNamedPictures))
      throw std::runtime_error("The composition is " + std::to_string(named) + " pictures behind");
  }
  bool isOffered = false;
  if (const auto texture = TextureSharing::of(image.get())) {
    auto picture = inPlace(image, texture, number, isOffered);
    if (picture || isOffered) return picture;  // or it will soon be taken
  }
  return copied(image, number);
}

/// The token's count tells how many of its pictures are on their way or with the player.
NamedPicture InputTextures::use(All::iterator offered, ImageRef image) {
  auto& [number, texture] = *offered;
  texture.lastUse = _uses;
  return {number, std::make_shared<const NamedPicture::Use>(
                      NamedPicture::Use{std::move(image), texture.token})};
}

std::optional<NamedPicture> InputTextures::inPlace(const ImageRef& image,
                                                   const std::shared_ptr<SharedTexture>& texture,
                                                   std::atomic<std::uint32_t>& number,
                                                   bool& isOffered) {
  platform::LockGuard hold(_lock);
  const auto found = std::find_if(_offered.begin(), _offered.end(), [&](const auto& offered) {
    return !offered.second.own && offered.second.texture.lock() == texture;
  });
  if (found == _offered.end()) {
    isOffered = offer(texture, false, number++);
    return std::nullopt;
  }
  isOffered = true;
  if (!found->second.isTaken) return std::nullopt;
  ++TextureSharing::counts().sharedIn;
  return use(found, image);
}

/// The copy is finished before anybody hears of it.
std::optional<NamedPicture> InputTextures::copied(const ImageRef& image,
                                                  std::atomic<std::uint32_t>& number) {
  std::optional<NamedPicture> picture;
  std::shared_ptr<SharedTexture> texture;
  {
    platform::LockGuard hold(_lock);
    std::size_t ofSize = 0, notTaken = 0;
    auto free = _offered.end();
    for (auto offered = _offered.begin(); offered != _offered.end(); ++offered) {
      const auto& own = offered->second.own;
      if (!own || !own->hasSize(image->pixelsWide, image->pixelsHigh)) continue;
      ++ofSize;
      notTaken += !offered->second.isTaken;
      if (offered->second.isTaken && !offered->second.isUsed()) free = offered;
    }
    if (free == _offered.end()) {
      const std::size_t bytes = pixelBytes(image->pixelsWide, image->pixelsHigh);
      if (ofSize < mostOwnOfASize && notTaken == 0 && _offered.size() < mostInputTextures &&
          _budget->hasRoomFor(4 * bytes))
        try {
          offer(TextureSharing::make(image->pixelsWide, image->pixelsHigh,
                                     PictureBudget::reserve(_budget, bytes)),
                true, number++);
        } catch (const std::exception& fault) {
          TextureSharing::fellBack(fault.what());
          _refused = true;
        }
      return std::nullopt;
    }
    texture = free->second.own;
    picture = use(free, ImageRef());
  }
  bool isCopied = false;
  texture->group()->withContext([&] {
    isCopied = copyPixels(image.get(), texture->name());
    glFinish();
  });
  if (!isCopied) return std::nullopt;
  ++TextureSharing::counts().drawnIn;
  return picture;
}

/// One that can't be sent now is offered with a later picture.
bool InputTextures::offer(const std::shared_ptr<SharedTexture>& texture, bool isOwn,
                          std::uint32_t number) try {
  if (_offered.size() >= mostInputTextures || !_socket.takesAtOnce()) return false;
  if (!sendTexture(_socket, number, false, *texture, patience)) return false;
  _offered.emplace(number, Offered{texture, isOwn ? texture : nullptr, false, _uses});
  return true;
} catch (const std::runtime_error&) {
  return false;  // the system has no room for the message
}

void InputTextures::forgetOld() {
  for (auto offered = _offered.begin(); offered != _offered.end();) {
    const Offered& texture = offered->second;
    const bool isOld =
        texture.own ? _uses - texture.lastUse > longestIdleness : texture.texture.expired();
    if (!isOld || !texture.isTaken || texture.isUsed() || !_socket.takesAtOnce()) {
      ++offered;
      continue;
    }
    try {
      if (!_socket.send(encoded(message::ToPlayer(message::TextureGone{offered->first})), -1,
                        patience))
        return;
    } catch (const std::runtime_error&) {
      return;
    }
    offered = _offered.erase(offered);
  }
}

void InputTextures::gaveTo(const NamedPicture& picture) {
  platform::LockGuard hold(_lock);
  const auto found = _offered.find(picture.texture());
  if (found != _offered.end()) found->second.given.push_back(picture);
}

bool InputTextures::has(std::uint32_t number) const {
  platform::LockGuard hold(_lock);
  return _offered.count(number) != 0;
}

void InputTextures::taken(std::uint32_t number) {
  platform::LockGuard hold(_lock);
  Offered& offered = _offered.at(number);
  if (std::exchange(offered.isTaken, true)) throw ProtocolError("it took a texture twice");
}

void InputTextures::refused(std::uint32_t number) {
  taken(number);
  std::shared_ptr<SharedTexture> own;  // goes without the lock
  platform::LockGuard hold(_lock);
  _refused = true;
  own = std::move(_offered.at(number).own);
  _offered.erase(number);
}

void InputTextures::left(std::uint32_t number) {
  std::optional<NamedPicture> done;  // goes without the lock
  platform::LockGuard hold(_lock);
  const auto found = _offered.find(number);
  if (found == _offered.end() || found->second.given.empty())
    throw ProtocolError("it left a picture that it was not given");
  done = std::move(found->second.given.front());
  found->second.given.pop_front();
}

}  // namespace vuo
