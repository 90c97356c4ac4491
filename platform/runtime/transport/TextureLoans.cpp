#include "platform/runtime/transport/TextureLoans.h"

#include <epoxy/gl.h>

#include <random>
#include <stdexcept>

#include "platform/runtime/textures/TextureReader.h"
#include "platform/runtime/textures/TextureUploader.h"
#include "platform/runtime/transport/Protocol.h"

namespace vuo {
namespace {

/// A host that keeps this many pictures gets its next ones as copies.
constexpr int mostLoans = 8;

/// After so many frames without it a texture is no longer the composition's.
constexpr std::uint64_t longestIdleness = 64;

constexpr std::chrono::milliseconds hostsPatience{50};

/// Of a size at which drivers no longer lay pictures out row by row, and of which no row is a whole
/// number of anything.
constexpr std::uint64_t noiseWidth = 509, noiseHeight = 263;

/// What both ends expect in the texture that is tried out.
std::vector<std::uint32_t> noiseOf(std::uint64_t round) {
  std::mt19937 next(static_cast<std::uint32_t>(round));
  std::vector<std::uint32_t> pixels(noiseWidth * noiseHeight);
  for (std::uint32_t& pixel : pixels) pixel = static_cast<std::uint32_t>(next());
  return pixels;
}

bool holdsNoise(const ImportedTexture& texture, std::uint64_t round) {
  if (texture.width() != noiseWidth || texture.height() != noiseHeight) return false;
  VuoImageRecord image{};
  image.glTextureName = texture.name();
  image.glTextureTarget = GL_TEXTURE_2D;
  image.pixelsWide = noiseWidth;
  image.pixelsHigh = noiseHeight;
  std::vector<std::uint32_t> pixels(noiseWidth * noiseHeight);
  return readPixels(&image, pixels.data()) && pixels == noiseOf(round);
}

JsonOwner roundMessage(std::uint64_t round) {
  JsonOwner message = newMessage("trial");
  add(message.get(), "round", round);
  return message;
}

JsonOwner aboutTexture(const char* kind, std::uint64_t texture) {
  JsonOwner message = newMessage(kind);
  add(message.get(), "texture", texture);
  return message;
}

void addLayout(json_object* message, const TextureLayout& layout) {
  add(message, "width", layout.width);
  add(message, "height", layout.height);
  add(message, "format", layout.format);
  add(message, "modifier", layout.modifier);
  add(message, "stride", layout.stride);
  add(message, "offset", layout.offset);
}

TextureLayout layoutIn(json_object* message) {
  const auto number = [&](const char* key) { return numberIn(message, key); };
  return {number("width"),    number("height"), number("format"),
          number("modifier"), number("stride"), number("offset")};
}

}  // namespace

JsonOwner TextureLender::lend(const ImageRef& image) {
  ++_framesSent;
  for (const std::uint64_t old : takeOutOldTextures())
    _socket.send(aboutTexture("texture gone", old).get(), -1, std::nullopt);
  tryOut();
  const auto serial = TexturePool::serialOf(image.get());
  if (trial() != Trial::Passed || !serial || !introduce(image, *serial)) return nullptr;
  {
    std::lock_guard hold(_lock);
    if (_loans >= mostLoans) return nullptr;
    Texture& texture = _textures[*serial];
    texture.image = image;
    ++texture.loans;
    ++_loans;
  }
  JsonOwner frame = newObject();
  add(frame.get(), "texture", *serial);
  return frame;
}

TextureLender::Trial TextureLender::trial() {
  std::lock_guard hold(_lock);
  return _trial;
}

void TextureLender::setTrial(Trial trial) {
  std::lock_guard hold(_lock);
  _trial = trial;
}

/// Never waits for an answer: until it has come, pixels travel.
void TextureLender::tryOut() {
  switch (trial()) {
    case Trial::ToBegin:
      if (!beginTrial()) setTrial(Trial::Failed);
      break;
    case Trial::ToGoOn:
      goOnWithTrial();
      break;
    case Trial::Passed:
    case Trial::Failed:
      _noise = {};
      _pool = nullptr;
      break;
    default:
      break;
  }
}

bool TextureLender::beginTrial() try {
  _pool = std::make_unique<TexturePool>(ShareGroup::current());
  _noise = _pool->newImage(noiseWidth, noiseHeight);
  const auto exported = exportTexture(_noise.get());
  if (!exported) return false;
  fillTexture(_noise.get(), noiseOf(1).data());
  glFinish();
  setTrial(Trial::FirstRound);
  const JsonOwner message = roundMessage(1);
  addLayout(message.get(), exported->layout);
  return _socket.send(message.get(), exported->descriptor.get(), std::nullopt);
} catch (const std::runtime_error&) {
  return false;  // no room for it; pictures may still find some
}

void TextureLender::goOnWithTrial() {
  fillTexture(_noise.get(), noiseOf(2).data());
  glFinish();
  setTrial(Trial::SecondRound);
  _socket.send(roundMessage(2).get(), -1, std::nullopt);
}

void TextureLender::answered(bool same) {
  std::lock_guard hold(_lock);
  if (_trial == Trial::FirstRound)
    _trial = same ? Trial::ToGoOn : Trial::Failed;
  else if (_trial == Trial::SecondRound)
    _trial = same ? Trial::Passed : Trial::Failed;
}

void TextureLender::refused() {
  setTrial(Trial::Failed);
}

bool TextureLender::introduce(const ImageRef& image, std::uint64_t serial) {
  {
    std::lock_guard hold(_lock);
    const auto [known, isNew] = _textures.try_emplace(serial);
    known->second.lastFrame = _framesSent;
    if (!isNew) return true;
  }
  const auto exported = exportTexture(image.get());
  if (!exported) {
    setTrial(Trial::Failed);
    return false;
  }
  const JsonOwner message = aboutTexture("texture", serial);
  addLayout(message.get(), exported->layout);
  return _socket.send(message.get(), exported->descriptor.get(), std::nullopt);
}

std::vector<std::uint64_t> TextureLender::takeOutOldTextures() {
  std::vector<std::uint64_t> old;
  std::lock_guard hold(_lock);
  std::erase_if(_textures, [&](const auto& entry) {
    const auto& [serial, texture] = entry;
    const bool isOld = texture.loans == 0 && _framesSent - texture.lastFrame > longestIdleness;
    if (isOld) old.push_back(serial);
    return isOld;
  });
  return old;
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

void TextureBorrower::tryOut(Message message, const std::shared_ptr<ShareGroup>& group) {
  json_object* body = message.body.get();
  const std::uint64_t round = numberIn(body, "round");
  if (round == 1)
    _noise = ImportedTexture::import(group, std::move(message.descriptor), layoutIn(body));
  const bool same = _noise && holdsNoise(*_noise, round);
  if (!same || round != 1) _noise = nullptr;
  const JsonOwner answer = newMessage("trial answer");
  add(answer.get(), "same", std::uint64_t{same});
  _socket.send(answer.get(), -1, hostsPatience);
}

void TextureBorrower::take(Message message, const std::shared_ptr<ShareGroup>& group) {
  json_object* body = message.body.get();
  const std::uint64_t serial = numberIn(body, "texture");
  _textures.erase(serial);
  if (auto texture = ImportedTexture::import(group, std::move(message.descriptor), layoutIn(body)))
    _textures[serial] = std::move(texture);
  else
    _socket.send(newMessage("texture refused").get(), -1, hostsPatience);
}

void TextureBorrower::drop(std::uint64_t texture) {
  _textures.erase(texture);
}

ImageRef TextureBorrower::borrow(json_object* frame) {
  const std::uint64_t serial = numberIn(frame, "texture");
  const auto found = _textures.find(serial);
  if (found == _textures.end()) {
    _returns->giveBack(serial);
    throw std::runtime_error("The frame lies in no texture");
  }
  const auto& texture = found->second;
  return ImageRef(VuoImage_makeClientOwned(texture->name(), GL_RGBA8, texture->width(),
                                           texture->height(), giveBack,
                                           new Loan{_returns, serial, texture}));
}

void TextureBorrower::giveBack(VuoImage image) {
  const std::unique_ptr<Loan> loan(static_cast<Loan*>(image->freeCallbackContext));
  loan->returns->giveBack(loan->serial);
}

}  // namespace vuo
