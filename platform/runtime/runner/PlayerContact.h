#pragma once

#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/runtime/graph/Composition.h"
#include "platform/runtime/transport/FrameTransport.h"

namespace vuo {

/// The host's end of what is said with one player. Whatever the player says is checked against what
/// it may say at that moment, and told to the listener: nothing that it says can do more to the
/// host than to end the contact. What is sent keeps its order where one thread at a time sends.
class PlayerContact {
 public:
  using Patience = MessageSocket::Patience;

  /// Greets the player. Throws std::runtime_error when that can't be sent.
  PlayerContact(FileDescriptor socket, PublishedPorts ports, CompositionListener& listener,
                std::chrono::milliseconds wholeMessage = wholeMessagePatience);

  // Any thread. Each throws std::runtime_error when the player is gone or has not taken the message
  // within `patience`, which ends the contact, or when it can't be sent, which does not.

  /// False, and nothing sent, when the player has too many events that it has not finished; whoever
  /// takes tells the listener that the event is dropped.
  bool fire(const std::map<std::size_t, Value>& values, const std::vector<std::size_t>& inputs,
            EventNumber number, bool asked, Patience patience);
  /// Takes effect with the next event. The descriptor is that of shared memory.
  void setPicture(std::size_t input, std::uint64_t width, std::uint64_t height, int pixels,
                  Patience patience);
  void cancel(EventNumber number, Patience patience);
  void stop(Patience patience);

  /// Whether an event can be sent at once.
  bool takesAtOnce() const;
  /// To be polled for what the player says.
  int descriptor() const { return _socket.descriptor(); }
  /// Ends the contact, and wakes whoever sends or takes.
  void shutDown() { _socket.shutDown(); }

  // One thread, from the first frame to the end of the contact.

  /// Takes what the player says next and tells the listener. False at the end of the contact: when
  /// the player has closed it, or says nothing within `patience`. Throws std::runtime_error with
  /// the reason when the player lied or refuses to play; that is the end as well.
  bool takeNext(Patience patience);
  /// The composition has come up.
  bool isReady() const { return _isReady; }

 private:
  struct OpenEvent {
    EventNumber number;
    std::vector<std::size_t> inputs;
  };

  void send(const message::ToPlayer& message, int descriptor, Patience patience);
  void sendValues(const std::vector<message::InputValue>& values, Patience patience);
  std::optional<std::uint64_t> open(const std::vector<std::size_t>& inputs, EventNumber number);
  OpenEvent takeOpen(std::uint64_t event);

  void tellOfDropped();
  void take(MessageSocket::Received received);
  void take(message::Greeting greeting, FileDescriptor);
  void take(message::Ready, FileDescriptor);
  void take(const message::Refused& refused, FileDescriptor);
  void take(const message::Buffer& buffer, FileDescriptor memory);
  void take(message::EventEnd& end, FileDescriptor);
  void take(message::PictureTaken, FileDescriptor);
  void take(const message::Fault& fault, FileDescriptor);
  OutputReport reportOf(message::Report& report);
  void keepText(OutputReport& report);
  void takeAside();

  const PublishedPorts _ports;
  CompositionListener& _listener;
  const std::shared_ptr<PictureBudget> _budget;
  MessageSocket _socket;

  mutable std::mutex _openLock;  ///< guards the fields below; no lock is taken inside it
  std::map<std::uint64_t, OpenEvent> _open;  ///< by the numbers that the player knows
  std::uint64_t _lastEvent = 0;
  std::map<std::size_t, std::size_t> _dropped;  ///< here: how often, by the input fired into
  std::vector<EventNumber> _notSent;            ///< the numbered ones among them
  std::deque<PictureBudget::Share> _picturesUnderWay;

  // Of the thread that takes:
  bool _hasGreeted = false, _isReady = false;
  std::size_t _asides = 0;              ///< messages since an event's end
  std::vector<std::size_t> _textBytes;  ///< that the host keeps, by output
  std::unique_ptr<FrameReceiver> _frames;
};

}  // namespace vuo
