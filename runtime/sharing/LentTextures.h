#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "runtime/ImageRef.h"
#include "runtime/sharing/SharedTexture.h"
#include "runtime/transport/MessageSocket.h"
#include "runtime/transport/Messages.h"

namespace vuo {

/// The host's textures that one player draws in. A few of each size go back and forth: the player
/// says in which one a picture lies, and gets it back with the event after the one in which nobody
/// holds the picture any more. One thread, unless said otherwise.
class LentTextures {
 public:
  LentTextures(MessageSocket& socket, std::shared_ptr<PictureBudget> budget);
  ~LentTextures();

  /// A picture of that size came through memory: the player has no texture for such. Lends it some
  /// unless it has had them, or there can be none; then things stay as they are. `number` is the
  /// next that was not used.
  void lendFor(std::uint64_t width, std::uint64_t height, std::atomic<std::uint32_t>& number);
  bool has(std::uint32_t number) const;
  void taken(std::uint32_t number);
  /// The player can't use it, and gets no other.
  void refused(std::uint32_t number);
  /// Throws ProtocolError when the player does not have it.
  void left(std::uint32_t number);
  ImageRef receive(const message::PictureInTexture& frame);

  /// What is the player's again and has not been given back to it. Any thread.
  std::vector<std::uint32_t> popReturned();

 private:
  struct State;
  struct Loan;
  static void giveBack(VuoImage image);

  MessageSocket& _socket;
  const std::shared_ptr<PictureBudget> _budget;
  const std::shared_ptr<State> _state;
  /// How often the player sent a picture of a size for which it has no texture.
  std::map<std::pair<std::uint64_t, std::uint64_t>, int> _asked;
  bool _refused = false;
};

/// Hands the player a texture. False when it can't be sent now.
bool sendTexture(MessageSocket& socket, std::uint32_t number, bool isLent,
                 const SharedTexture& texture, MessageSocket::Patience patience);

}  // namespace vuo
