#pragma once

#include <chrono>
#include <deque>
#include <mutex>
#include <optional>
#include <string>

#include "platform/runtime/JsonOwner.h"
#include "platform/runtime/transport/FileDescriptor.h"

namespace vuo {

struct Message {
  JsonOwner body;             ///< a JSON object
  FileDescriptor descriptor;  ///< where the message brings one
};

/// One end of a socket pair that carries JSON messages, each with at most one file descriptor.
class MessageSocket {
 public:
  using Patience = std::optional<std::chrono::milliseconds>;  ///< none: for ever

  explicit MessageSocket(FileDescriptor socket) : _socket(std::move(socket)) {}

  /// Any thread. False when the other end is gone, or took nothing for as long as `patience`; the
  /// connection is at its end then.
  bool send(json_object* body, int descriptor, Patience patience);
  /// One thread at a time. Nothing when the other end is gone, sends what is no message, or sends
  /// nothing for as long as `patience`.
  std::optional<Message> receive(Patience patience);
  /// To be polled for what the other end sends. What has been read with an earlier message does not
  /// show there.
  int descriptor() const { return _socket.get(); }
  bool hasReceived() const { return !_received.empty(); }
  /// Whether a message of some kilobytes would find room, so that sending it waits for nobody.
  bool takesAtOnce() const;
  /// Ends both directions; wakes whoever sends or receives at either end.
  void shutDown();

 private:
  /// What stands in front of every message.
  struct Head {
    std::uint32_t length;
    std::uint32_t descriptors;
  };

  bool sendAll(std::string bytes, int descriptor, Patience patience);
  bool receiveBytes(std::size_t count, Patience patience);

  const FileDescriptor _socket;
  std::mutex _sendLock;  ///< held while one message is sent; no lock is taken inside it
  std::string _received;
  std::deque<FileDescriptor> _descriptors;
};

}  // namespace vuo
