#include "runtime/sharing/LentTextures.h"

#include <algorithm>

#include "runtime/ImagePixels.h"
#include "runtime/Limits.h"
#include "runtime/sharing/TextureSharing.h"

namespace vuo {
namespace {

/// One that is shown, one that is drawn, and one on its way.
constexpr std::size_t usualSet = 3;
/// A size that comes once does not pay for textures of its own.
constexpr int askedBefore = 2;
constexpr std::size_t mostSizesRemembered = 16;
constexpr std::chrono::milliseconds lendingPatience{50};

}  // namespace

bool sendTexture(MessageSocket& socket, std::uint32_t number, bool isLent,
                 const SharedTexture& texture, MessageSocket::Patience patience) {
  const ImageMemory& memory = texture.memory();
  return socket.send(
      encoded(message::ToPlayer(message::Texture{number, isLent, memory.width, memory.height,
                                                 memory.size, memory.isDedicated, memory.head})),
      memory.descriptor.get(), patience);
}

/// Outlives the contact with the images that the host still has.
struct LentTextures::State {
  enum class Place { Player, Host, OnTheWayBack };
  struct Lent {
    std::shared_ptr<SharedTexture> texture;
    Place place = Place::Player;
    bool isTaken = false;
  };

  platform::Mutex lock;  ///< no lock is taken inside it
  std::map<std::uint32_t, Lent> lent GUARDED_BY(lock);
  std::vector<std::uint32_t> returned GUARDED_BY(lock);
};

/// What an image's free callback needs to give its texture back.
struct LentTextures::Loan {
  std::shared_ptr<State> state;
  std::uint32_t number;
  std::shared_ptr<SharedTexture> texture;
};

LentTextures::LentTextures(MessageSocket& socket, std::shared_ptr<PictureBudget> budget)
    : _socket(socket), _budget(std::move(budget)), _state(std::make_shared<State>()) {}

/// The textures go without the lock, since that takes others.
LentTextures::~LentTextures() {
  std::map<std::uint32_t, State::Lent> gone;
  platform::LockGuard hold(_state->lock);
  gone.swap(_state->lent);
  _state->returned.clear();
}

void LentTextures::lendFor(std::uint64_t width, std::uint64_t height,
                           std::atomic<std::uint32_t>& nextNumber) {
  if (_refused) return;
  if (_asked.size() > mostSizesRemembered) _asked.clear();
  if (++_asked[{width, height}] < askedBefore) return;
  std::size_t all, ofSize = 0, atHost = 0;
  {
    platform::LockGuard hold(_state->lock);
    all = _state->lent.size();
    for (const auto& [number, lent] : _state->lent) {
      if (!lent.texture->hasSize(width, height)) continue;
      ++ofSize;
      atHost += lent.place == State::Place::Host;
    }
  }
  const std::size_t more = ofSize == 0 ? usualSet : atHost + 1 >= ofSize ? 1 : 0;
  for (std::size_t i = 0; i < more && all + i < mostLentTextures; ++i) try {
      const std::size_t bytes = pixelBytes(width, height);
      // What is on its way through memory needs some, too.
      if (!_budget->hasRoomFor(4 * bytes)) return;
      const auto texture =
          TextureSharing::make(width, height, PictureBudget::reserve(_budget, bytes));
      const std::uint32_t number = nextNumber++;
      {
        platform::LockGuard hold(_state->lock);
        _state->lent.emplace(number, State::Lent{texture});
        _state->returned.reserve(_state->lent.size());  // where it comes back nothing may fail
      }
      if (!sendTexture(_socket, number, true, *texture, lendingPatience)) return;
    } catch (const std::exception& fault) {
      TextureSharing::fellBack(fault.what());
      _refused = true;
      return;
    }
}

bool LentTextures::has(std::uint32_t number) const {
  platform::LockGuard hold(_state->lock);
  return _state->lent.count(number) != 0;
}

void LentTextures::taken(std::uint32_t number) {
  platform::LockGuard hold(_state->lock);
  if (std::exchange(_state->lent.at(number).isTaken, true))
    throw ProtocolError("it took a texture twice");
}

void LentTextures::refused(std::uint32_t number) {
  taken(number);
  _refused = true;
  left(number);
}

void LentTextures::left(std::uint32_t number) {
  State::Lent gone;
  platform::LockGuard hold(_state->lock);
  const auto found = _state->lent.find(number);
  if (found == _state->lent.end() || found->second.place != State::Place::Player)
    throw ProtocolError("it left a texture that it did not have");
  gone = std::move(found->second);
  _state->lent.erase(found);
}

ImageRef LentTextures::receive(const message::PictureInTexture& frame) {
  std::shared_ptr<SharedTexture> texture;
  {
    platform::LockGuard hold(_state->lock);
    const auto found = _state->lent.find(frame.texture);
    if (found == _state->lent.end() || found->second.place != State::Place::Player ||
        !found->second.isTaken)
      throw ProtocolError("it sent a frame in a texture that it did not have");
    found->second.place = State::Place::Host;
    texture = found->second.texture;
  }
  const ImageMemory& memory = texture->memory();
  const std::uint32_t name = texture->name();
  constexpr std::uint32_t rgba8 = 0x8058;
  return ImageRef(VuoImage_makeClientOwned(name, rgba8, memory.width, memory.height, giveBack,
                                           new Loan{_state, frame.texture, std::move(texture)}));
}

void LentTextures::giveBack(VuoImage image) {
  const std::unique_ptr<Loan> loan(static_cast<Loan*>(image->freeCallbackContext));
  platform::LockGuard hold(loan->state->lock);
  const auto found = loan->state->lent.find(loan->number);
  if (found == loan->state->lent.end()) return;
  found->second.place = State::Place::OnTheWayBack;
  loan->state->returned.push_back(loan->number);
}

std::vector<std::uint32_t> LentTextures::popReturned() {
  platform::LockGuard hold(_state->lock);
  for (const std::uint32_t number : _state->returned) {
    const auto found = _state->lent.find(number);
    if (found != _state->lent.end()) found->second.place = State::Place::Player;
  }
  const std::vector<std::uint32_t> returned = _state->returned;
  _state->returned.clear();  // keeps its room
  return returned;
}

}  // namespace vuo
