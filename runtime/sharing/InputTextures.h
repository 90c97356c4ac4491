#pragma once

#include <atomic>
#include <deque>
#include <map>
#include <memory>
#include <optional>

#include "platform/system/Mutex.h"
#include "runtime/ImageRef.h"
#include "runtime/sharing/SharedTexture.h"
#include "runtime/transport/MessageSocket.h"

namespace vuo {

/// A picture that a player finds in a texture which it has. As long as one of these lives, or the
/// player has not left what was given to it, the picture stays there and as it is. Copies share it.
class NamedPicture {
 public:
  std::uint32_t texture() const { return _texture; }

 private:
  friend class InputTextures;
  struct Use {
    ImageRef image;  ///< that the texture belongs to; none where it is the contact's own
    std::shared_ptr<const bool> token;
  };
  NamedPicture(std::uint32_t texture, std::shared_ptr<const Use> use)
      : _texture(texture), _use(std::move(use)) {}
  std::uint32_t _texture;
  std::shared_ptr<const Use> _use;
};

/// The textures by which one player is given the pictures of its inputs. Any thread.
class InputTextures {
 public:
  InputTextures(MessageSocket& socket, std::shared_ptr<PictureBudget> budget)
      : _socket(socket), _budget(std::move(budget)) {}

  /// The picture by the texture that it lies in, or drawn once into one that the player has. None
  /// where it has to go through memory, at least until the player has taken a texture that it is
  /// then offered. `number` is the next that was not used. Throws std::runtime_error when the
  /// player is too many pictures behind.
  std::optional<NamedPicture> nameFor(const ImageRef& image, std::atomic<std::uint32_t>& number);
  void gaveTo(const NamedPicture& picture);

  bool has(std::uint32_t number) const;
  void taken(std::uint32_t number);
  /// The player can't use it, and gets no other.
  void refused(std::uint32_t number);
  /// Throws ProtocolError when the player was not given a picture in it.
  void left(std::uint32_t number);

 private:
  struct Offered {
    std::weak_ptr<SharedTexture> texture;
    std::shared_ptr<SharedTexture> own;  ///< keeps it, where only this contact draws in it
    bool isTaken = false;
    std::uint64_t lastUse = 0;
    std::shared_ptr<const bool> token = std::make_shared<bool>();  ///< each use has it
    std::deque<NamedPicture> given = {};                           ///< that the player has not left
    bool isUsed() const { return token.use_count() > 1; }
  };
  using All = std::map<std::uint32_t, Offered>;

  std::optional<NamedPicture> inPlace(const ImageRef& image,
                                      const std::shared_ptr<SharedTexture>& texture,
                                      std::atomic<std::uint32_t>& number, bool& isOffered);
  std::optional<NamedPicture> copied(const ImageRef& image, std::atomic<std::uint32_t>& number);
  bool offer(const std::shared_ptr<SharedTexture>& texture, bool isOwn, std::uint32_t number)
      REQUIRES(_lock);
  NamedPicture use(All::iterator offered, ImageRef image) REQUIRES(_lock);
  void forgetOld() REQUIRES(_lock);

  MessageSocket& _socket;
  const std::shared_ptr<PictureBudget> _budget;
  mutable platform::Mutex _lock;  ///< taken before the group's and the socket's
  All _offered GUARDED_BY(_lock);
  std::uint64_t _uses GUARDED_BY(_lock) = 0;
  bool _refused GUARDED_BY(_lock) = false;
};

}  // namespace vuo
