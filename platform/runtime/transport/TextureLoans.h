// Pictures that come to the host without a copy: the player lends it the very texture. Whether that
// works depends on both processes' drivers, so it is tried out first, with a texture of noise that
// the host must find the same, and again after it has been drawn over.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "platform/runtime/ImageRef.h"
#include "platform/runtime/JsonOwner.h"
#include "platform/runtime/textures/SharedTexture.h"
#include "platform/runtime/textures/TexturePool.h"
#include "platform/runtime/transport/MessageSocket.h"

namespace vuo {

/// The player's end. Frames are sent on the composition's thread, with its context current; the
/// host's words may come on any thread.
class TextureLender {
 public:
  explicit TextureLender(MessageSocket& socket) : _socket(socket) {}

  /// The frame for the message; null when the pixels have to travel. The texture is not drawn to
  /// again before the host has given it back.
  JsonOwner lend(const ImageRef& image);
  void answered(bool same);
  void givenBack(std::uint64_t texture);
  void refused();

 private:
  enum class Trial { ToBegin, FirstRound, ToGoOn, SecondRound, Passed, Failed };

  struct Texture {
    ImageRef image;  ///< held while it is lent
    int loans = 0;
    std::uint64_t lastFrame = 0;
  };

  Trial trial();
  void setTrial(Trial trial);
  void tryOut();
  bool beginTrial();
  void goOnWithTrial();
  /// Tells the host of a texture that it does not know yet.
  bool introduce(const ImageRef& image, std::uint64_t serial);
  std::vector<std::uint64_t> takeOutOldTextures();

  MessageSocket& _socket;
  std::unique_ptr<TexturePool> _pool;  ///< of the texture that is tried out
  ImageRef _noise;
  std::uint64_t _framesSent = 0;

  std::mutex _lock;  ///< guards the fields below; no lock is taken inside it
  Trial _trial = Trial::ToBegin;
  std::map<std::uint64_t, Texture> _textures;  ///< by the serial numbers of the pool's textures
  int _loans = 0;
};

/// The host's end, on one thread, with a context current. Images may be released on any thread,
/// also after the borrower's end.
class TextureBorrower {
 public:
  explicit TextureBorrower(MessageSocket& socket);
  ~TextureBorrower();

  /// Takes a round of the trial, and answers it.
  void tryOut(Message message, const std::shared_ptr<ShareGroup>& group);
  /// Takes a texture that will be lent.
  void take(Message message, const std::shared_ptr<ShareGroup>& group);
  void drop(std::uint64_t texture);
  /// The image of a frame that was lent. Throws std::runtime_error when there is no such texture.
  ImageRef borrow(json_object* frame);

 private:
  struct Returns;
  struct Loan;
  static void giveBack(VuoImage image);

  MessageSocket& _socket;
  const std::shared_ptr<Returns> _returns;
  std::shared_ptr<ImportedTexture> _noise;
  std::map<std::uint64_t, std::shared_ptr<ImportedTexture>> _textures;
};

}  // namespace vuo
