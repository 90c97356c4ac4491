#pragma once

#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/system/Mutex.h"
#include "runtime/graph/Instance.h"
#include "runtime/sharing/InputTextures.h"
#include "runtime/sharing/LentTextures.h"
#include "runtime/transport/FrameTransport.h"

namespace vuo {

/// What a picture on its way to a player takes of what all of them may. Copies share it.
class PictureTicket {
 public:
  std::uint64_t width() const { return _picture->width; }
  std::uint64_t height() const { return _picture->height; }

 private:
  friend class PlayerContact;
  struct Picture {
    std::uint64_t width, height;
    PictureBudget::Share bytes;
    std::shared_ptr<const bool> one;
  };
  explicit PictureTicket(std::shared_ptr<const Picture> picture) : _picture(std::move(picture)) {}
  std::shared_ptr<const Picture> _picture;
};

/// The host's end of what is said with one player. Whatever the player says is checked against what
/// it may say at that moment, and told to the listener: nothing that it says can do more to the
/// host than to end the contact. What is sent keeps its order where one thread at a time sends.
class PlayerContact {
 public:
  using Patience = MessageSocket::Patience;

  /// Greets the player. Throws std::runtime_error when that can't be sent.
  PlayerContact(platform::FileDescriptor socket, PublishedPorts ports, InstanceListener& listener,
                std::chrono::milliseconds wholeMessage = wholeMessagePatience);

  // Any thread. Each throws std::runtime_error when the player is gone or has not taken the message
  // within `patience`, which ends the contact, or when it can't be sent, which does not.

  void fire(const std::vector<message::InputValue>& values, const std::vector<std::size_t>& inputs,
            EventNumber number, bool asked, Patience patience);
  /// Takes effect with the next event. The descriptor is that of shared memory.
  void setPicture(std::size_t input, const PictureTicket& picture, int pixels, Patience patience);
  void setPicture(std::size_t input, const NamedPicture& picture, Patience patience);
  /// Does nothing when the player is not at the event, or does not take a message at once.
  void cancel(EventNumber number, Patience patience);
  void stop(Patience patience);

  /// To be had before a picture is kept for the player, and held until it has been sent. Throws
  /// std::runtime_error when too much is on its way already.
  PictureTicket ticketFor(std::uint64_t width, std::uint64_t height) const;
  /// The picture in a texture that the player has, for which it needs no ticket; none where it has
  /// to go through memory. Throws std::runtime_error when too much is on its way already.
  std::optional<NamedPicture> nameFor(const ImageRef& image);
  /// Whether the player may get more, or has to finish something before.
  bool hasRoom() const;
  /// Whether an event that is not large can be sent and waits for nobody.
  bool takesAtOnce() const { return hasRoom() && _socket.takesAtOnce(); }
  /// To be polled for what the player says.
  int descriptor() const { return _socket.descriptor(); }
  /// Ends the contact, and wakes whoever sends or takes.
  void shutDown() { _socket.shutDown(); }

  // One thread, up to `end`.

  /// Takes what the player says next and tells the listener. False at the end of the contact: when
  /// the player has closed it, or says nothing within `patience`. Throws std::runtime_error with
  /// the reason when the player lied or refuses to play; that is the end as well.
  bool handleNext(Patience patience);
  /// Nothing is taken any more. What lies on the GPU goes on the thread that made it.
  void end() { _frames = nullptr; }

 private:
  using Inputs = std::vector<std::size_t>;

  void send(const message::ToPlayer& message, int descriptor, Patience patience);
  void sendValues(const std::vector<message::InputValue>& values, Patience patience);
  Inputs closeEvent(EventNumber event);

  void handle(MessageSocket::Received received);
  void handle(message::Greeting greeting, platform::FileDescriptor);
  void handle(const message::Ready& ready, platform::FileDescriptor);
  void handle(const message::Refused& refused, platform::FileDescriptor);
  void handle(const message::Buffer& buffer, platform::FileDescriptor memory);
  void handle(message::EventEnd& end, platform::FileDescriptor);
  void handle(message::PictureTaken, platform::FileDescriptor);
  void handle(const message::Fault& fault, platform::FileDescriptor);
  void handle(const message::TextureTaken& taken, platform::FileDescriptor);
  void leave(std::uint32_t texture);
  OutputReport reportOf(message::Report& said);
  void keepText(OutputReport& report);
  void requireReady() const;
  void countAside();

  void maybeShare();
  ImageRef pictureOf(const message::Report& said);

  const PublishedPorts _ports;
  InstanceListener& _listener;
  const std::shared_ptr<PictureBudget> _budget;
  const std::shared_ptr<const bool> _pictures = std::make_shared<bool>();  ///< each ticket has it
  MessageSocket _socket;

  mutable platform::Mutex _openLock;                          ///< no lock is taken inside it
  std::map<EventNumber, Inputs> _open GUARDED_BY(_openLock);  ///< what was sent and not finished
  std::deque<PictureTicket> _picturesUnderWay GUARDED_BY(_openLock);

  std::atomic<std::uint32_t> _nextTexture = 0;
  const bool _mayShareTextures;
  std::atomic<bool> _sharesTextures = false;  ///< in fact
  InputTextures _inputs;
  LentTextures _lent;  ///< of the thread that takes, but for what is returned

  // Of the thread that takes:
  std::string _playersDevice;
  bool _hasGreeted = false, _isReady = false;
  std::size_t _asides = 0;              ///< messages since an event's end
  std::vector<std::size_t> _textBytes;  ///< that the host keeps, by output
  std::unique_ptr<FrameReceiver> _frames;
};

}  // namespace vuo
