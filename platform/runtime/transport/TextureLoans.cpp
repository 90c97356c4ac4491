#include "platform/runtime/transport/TextureLoans.h"

#include <epoxy/gl.h>

#include <cstring>
#include <stdexcept>
#include <vector>

#include "platform/runtime/ImagePixels.h"
#include "platform/runtime/textures/TexturePool.h"
#include "platform/runtime/textures/TextureReader.h"
#include "platform/runtime/transport/Protocol.h"

namespace vuo {
namespace {

/// A host that keeps this many pictures gets its next ones as copies.
constexpr int mostLoans = 8;

/// After so many frames without it a texture is no longer the composition's.
constexpr std::uint64_t longestIdleness = 64;

constexpr std::chrono::milliseconds hostsPatience{50};

JsonOwner aboutTexture(const char* kind, std::uint64_t texture) {
  JsonOwner message = newMessage(kind);
  add(message.get(), "texture", texture);
  return message;
}

JsonOwner messageOf(const TextureLayout& layout, std::uint64_t texture) {
  JsonOwner message = aboutTexture("texture", texture);
  const auto addNumber = [&](const char* key, std::uint64_t number) {
    add(message.get(), key, number);
  };
  addNumber("width", layout.width);
  addNumber("height", layout.height);
  addNumber("format", layout.format);
  addNumber("modifier", layout.modifier);
  addNumber("stride", layout.stride);
  addNumber("offset", layout.offset);
  return message;
}

TextureLayout layoutIn(json_object* message) {
  const auto number = [&](const char* key) { return numberIn(message, key); };
  return {number("width"),    number("height"), number("format"),
          number("modifier"), number("stride"), number("offset")};
}

}  // namespace

JsonOwner TextureLender::lend(const ImageRef& image) {
  const auto serial = TexturePool::serialOf(image.get());
  std::lock_guard hold(_lock);
  ++_framesSent;
  const auto found = serial ? _textures.find(*serial) : _textures.end();
  if (found == _textures.end()) return nullptr;
  Texture& texture = found->second;
  texture.lastFrame = _framesSent;
  if (!texture.usable || _loans >= mostLoans) return nullptr;
  texture.image = image;
  ++texture.loans;
  ++_loans;
  JsonOwner frame = newObject();
  add(frame.get(), "texture", *serial);
  add(frame.get(), "width", image->pixelsWide);
  add(frame.get(), "height", image->pixelsHigh);
  return frame;
}

void TextureLender::offer(const ImageRef& image, json_object* frame) {
  forgetOldTextures();
  const auto serial = TexturePool::serialOf(image.get());
  {
    std::lock_guard hold(_lock);
    if (_refused || !serial || _textures.contains(*serial)) return;
  }
  const auto exported = exportTexture(image.get());
  if (!exported) return answered(*serial, false);
  {
    std::lock_guard hold(_lock);
    _textures[*serial].lastFrame = _framesSent;
  }
  _socket.send(messageOf(exported->layout, *serial).get(), exported->descriptor.get(),
               std::nullopt);
  add(frame, "texture", *serial);
}

void TextureLender::forgetOldTextures() {
  std::vector<std::uint64_t> old;
  {
    std::lock_guard hold(_lock);
    std::erase_if(_textures, [&](const auto& entry) {
      const auto& [serial, texture] = entry;
      const bool isOld = texture.loans == 0 && _framesSent - texture.lastFrame > longestIdleness;
      if (isOld) old.push_back(serial);
      return isOld;
    });
  }
  for (const std::uint64_t serial : old)
    _socket.send(aboutTexture("texture gone", serial).get(), -1, std::nullopt);
}

void TextureLender::answered(std::uint64_t texture, bool usable) {
  std::lock_guard hold(_lock);
  const auto found = _textures.find(texture);
  if (found != _textures.end()) found->second.usable = usable;
  if (!usable) _refused = true;
}

void TextureLender::givenBack(std::uint64_t texture) {
  ImageRef released;  // outlives the lock
  std::lock_guard hold(_lock);
  const auto found = _textures.find(texture);
  if (found == _textures.end() || found->second.loans == 0) return;
  --_loans;
  if (--found->second.loans == 0) std::swap(released, found->second.image);
}

/// The way back to the player, for images that may live longer than it.
struct TextureBorrower::Returns {
  std::mutex lock;  ///< guards the field below; held while the player is told
  MessageSocket* socket;

  void giveBack(std::uint64_t texture) {
    std::lock_guard hold(lock);
    if (socket) socket->send(aboutTexture("texture done", texture).get(), -1, hostsPatience);
  }
};

/// What an image's free callback needs.
struct TextureBorrower::Loan {
  std::shared_ptr<Returns> returns;
  std::uint64_t serial;
  std::shared_ptr<ImportedTexture> texture;
};

TextureBorrower::TextureBorrower(MessageSocket& socket)
    : _socket(socket), _returns(new Returns{{}, &socket}) {}

TextureBorrower::~TextureBorrower() {
  std::lock_guard hold(_returns->lock);
  _returns->socket = nullptr;
}

/// A texture that can't be imported is refused when its frame comes.
void TextureBorrower::take(Message message) {
  json_object* body = message.body.get();
  _textures[numberIn(body, "texture")] =
      ImportedTexture::import(std::move(message.descriptor), layoutIn(body));
}

void TextureBorrower::drop(std::uint64_t texture) {
  _textures.erase(texture);
}

void TextureBorrower::answer(json_object* frame, const void* pixels) {
  if (valueIn(frame, "texture") == nullptr) return;
  const std::uint64_t serial = numberIn(frame, "texture");
  const auto found = _textures.find(serial);
  const bool usable =
      found != _textures.end() && found->second && holds(*found->second, frame, pixels);
  if (!usable) _textures.erase(serial);
  const JsonOwner message = aboutTexture("texture answer", serial);
  add(message.get(), "usable", std::uint64_t{usable});
  _socket.send(message.get(), -1, hostsPatience);
}

bool TextureBorrower::holds(const ImportedTexture& texture, json_object* frame,
                            const void* pixels) const {
  const std::uint64_t width = numberIn(frame, "width"), height = numberIn(frame, "height");
  VuoImageRecord image{};
  image.glTextureName = texture.name();
  image.glTextureTarget = GL_TEXTURE_2D;
  image.pixelsWide = width;
  image.pixelsHigh = height;
  std::vector<std::uint8_t> found(pixelBytes(width, height));
  return readPixels(&image, found.data()) && std::memcmp(found.data(), pixels, found.size()) == 0;
}

ImageRef TextureBorrower::borrow(json_object* frame) {
  const std::uint64_t serial = numberIn(frame, "texture");
  const auto found = _textures.find(serial);
  if (found == _textures.end()) {
    _returns->giveBack(serial);
    throw std::runtime_error("The frame lies in no texture");
  }
  return ImageRef(VuoImage_makeClientOwned(found->second->name(), GL_RGBA8,
                                           numberIn(frame, "width"), numberIn(frame, "height"),
                                           giveBack, new Loan{_returns, serial, found->second}));
}

void TextureBorrower::giveBack(VuoImage image) {
  const std::unique_ptr<Loan> loan(static_cast<Loan*>(image->freeCallbackContext));
  loan->returns->giveBack(loan->serial);
}

}  // namespace vuo
