#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "platform/system/FileDescriptor.h"
#include "runtime/graph/PictureSource.h"
#include "runtime/transport/Messages.h"

namespace vuo {

/// The player's end of the textures that it and its host have: those that it draws in, and those
/// that the pictures of its inputs lie in. They are made and deleted on the composition's thread.
class PlayerTextures : public PictureSource {
 public:
  PlayerTextures();

  // The thread that listens. What the host can't say throws ProtocolError.
  void handle(message::Texture& said, platform::FileDescriptor memory);
  void handle(const message::TextureGone& gone);
  void giveBack(const std::vector<std::uint32_t>& lent);
  /// The picture that lies in the input's texture.
  ImageRef input(std::uint32_t number);

  // The composition's thread, with its context current.

  /// Makes what has been taken, deletes what is gone, and tells how that went.
  std::vector<message::TextureTaken> work();
  /// Over a lent texture that neither end uses.
  ImageRef newImage(std::uint64_t width, std::uint64_t height) override;
  /// The lent texture that the image is over, which is the host's from now on; none when it is over
  /// another, or the host has it already.
  std::optional<std::uint32_t> handOver(const ImageRef& image);

  /// What the player has left since it was last asked. Any thread.
  std::vector<std::uint32_t> popLeft();

 private:
  struct State;
  struct Loan;
  static void giveBackLent(VuoImage image);
  static void leaveInput(VuoImage image);
  const std::shared_ptr<State> _state;
};

}  // namespace vuo
