// Pictures that come to the host without a copy: the player lends it the very texture. Whether that
// works depends on both processes' drivers, so it is tried out first: a texture is offered together
// with a frame whose pixels travel in the usual way, and lent from then on if the host finds the
// same picture in it.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>

#include "platform/runtime/ImageRef.h"
#include "platform/runtime/JsonOwner.h"
#include "platform/runtime/textures/SharedTexture.h"
#include "platform/runtime/transport/MessageSocket.h"

namespace vuo {

/// The player's end. Frames are sent on the composition's thread, with its context current; the
/// host's answers may come on any thread.
class TextureLender {
 public:
  explicit TextureLender(MessageSocket& socket) : _socket(socket) {}

  /// The frame for the message; null when the pixels have to travel. The texture is not drawn to
  /// again before the host has given it back.
  JsonOwner lend(const ImageRef& image);
  /// Offers the texture of a frame whose pixels travel, unless it has been offered before or the
  /// host has refused one.
  void offer(const ImageRef& image, json_object* frame);
  void answered(std::uint64_t texture, bool usable);
  void givenBack(std::uint64_t texture);

 private:
  struct Texture {
    bool usable = false;
    int loans = 0;
    ImageRef image;  ///< held while it is lent
    std::uint64_t lastFrame = 0;
  };

  void forgetOldTextures();

  MessageSocket& _socket;
  std::mutex _lock;  ///< guards the fields below; no lock is taken inside it
  std::map<std::uint64_t, Texture> _textures;
  std::uint64_t _framesSent = 0;
  int _loans = 0;
  bool _refused = false;
};

/// The host's end, on one thread, with a context current. Images may be released on any thread,
/// also after the borrower's end.
class TextureBorrower {
 public:
  explicit TextureBorrower(MessageSocket& socket);
  ~TextureBorrower();

  void take(Message message);
  void drop(std::uint64_t texture);
  /// Answers what was offered with a frame, by holding the texture against the frame's pixels.
  void answer(json_object* frame, const void* pixels);
  /// The image of a frame that was lent. Throws std::runtime_error when there is no such texture.
  ImageRef borrow(json_object* frame);

 private:
  struct Returns;
  struct Loan;
  static void giveBack(VuoImage image);
  bool holds(const ImportedTexture& texture, json_object* frame, const void* pixels) const;

  MessageSocket& _socket;
  const std::shared_ptr<Returns> _returns;
  std::map<std::uint64_t, std::shared_ptr<ImportedTexture>> _textures;
};

}  // namespace vuo
