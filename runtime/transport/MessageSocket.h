#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "platform/system/FileDescriptor.h"
#include "platform/system/Mutex.h"
#include "runtime/Limits.h"
#include "runtime/transport/Codec.h"

namespace vuo {

/// One end of a pair of stream sockets that carries messages, each with at most one file
/// descriptor.
class MessageSocket {
 public:
  using Patience = std::optional<std::chrono::milliseconds>;  ///< none: for ever

  struct Received {
    std::string bytes;
    platform::FileDescriptor descriptor;  ///< where the message brings one
    /// It brings one that this process has no room for.
    bool descriptorIsLost = false;
  };

  explicit MessageSocket(platform::FileDescriptor socket,
                         std::chrono::milliseconds wholeMessage = wholeMessagePatience)
      : _socket(std::move(socket)), _wholeMessage(wholeMessage) {}

  /// Any thread. False when the other end is gone or has not taken the whole message within
  /// `patience`; the connection is at its end then. Throws std::runtime_error, with the connection
  /// as it was, when the message is too long or the system has no room for it.
  bool send(const std::string& bytes, int descriptor, Patience patience);
  /// One thread at a time. Nothing when the connection is at its end, or no message has begun
  /// within `patience`. Throws ProtocolError when what comes is no message, or the rest of it is
  /// long in coming. Reads no further than to the message's end.
  std::optional<Received> receive(Patience patience);
  /// Ends both directions; wakes whoever sends or receives at either end.
  void shutDown();

  /// To be polled for what the other end sends.
  int descriptor() const { return _socket.get(); }
  /// Whether a message of some kilobytes would find room, so that sending it waits for nobody.
  bool takesAtOnce() const;

 private:
  using Deadline = std::optional<std::chrono::steady_clock::time_point>;

  bool awaitUntil(short what, const Deadline& deadline) const;
  bool sendAll(std::string_view bytes, int descriptor, const Deadline& deadline)
      REQUIRES(_sendLock);
  bool receiveBytes(void* bytes, std::size_t count, Deadline& deadline, Received& message,
                    bool isBeginning);

  const platform::FileDescriptor _socket;
  const std::chrono::milliseconds _wholeMessage;
  platform::Mutex _sendLock;  ///< held while one message is sent; no lock is taken inside it
};

}  // namespace vuo
