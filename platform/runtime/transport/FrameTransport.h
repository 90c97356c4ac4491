// How the pictures of a composition come from the player to its host: through a few buffers of
// shared memory that are used over and over. Both ends are here, and nothing else knows the way.
#pragma once

#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "platform/runtime/JsonOwner.h"
#include "platform/runtime/textures/TextureUploader.h"
#include "platform/runtime/transport/MessageSocket.h"
#include "platform/runtime/transport/SharedMemory.h"

namespace vuo {

/// The player's end. Frames are sent on the composition's thread, with its context current.
class FrameSender {
 public:
  /// `mostPerEvent` frames may go into one message.
  FrameSender(MessageSocket& socket, std::size_t mostPerEvent);

  /// The frame for the message. Its pixels are put into a free buffer, which is waited for while
  /// the host has them all. Throws std::runtime_error when that fails or the host is gone.
  JsonOwner send(const ImageRef& image);
  /// Takes a message of the host's that is about frames, and leaves others. Any thread.
  void take(json_object* message);
  /// The host is gone: nobody waits any more. Any thread.
  void close();

 private:
  struct Buffer {
    std::unique_ptr<SharedMemory> memory;
    bool isFree = true;
  };

  std::size_t takeFreeBuffer();
  void makeLargeEnough(std::size_t buffer, std::size_t size);
  void release(std::size_t buffer);

  MessageSocket& _socket;
  std::mutex _lock;  ///< guards `isFree` and `_closed`; no lock is taken inside it
  std::condition_variable _changed;
  std::vector<Buffer> _buffers;
  bool _closed = false;
};

/// The host's end, on one thread.
class FrameReceiver {
 public:
  explicit FrameReceiver(MessageSocket& socket) : _socket(socket) {}

  /// Takes a message of the player's that prepares for frames; false for any other.
  bool take(Message& message);
  /// The image of a frame, complete on the GPU; what it lay in goes back to the player. Throws
  /// std::runtime_error when the frame makes no sense or there is no memory for it.
  ImageRef receive(json_object* frame);

 private:
  void takeBuffer(Message message);

  MessageSocket& _socket;
  std::map<std::uint64_t, std::unique_ptr<SharedMemory>> _buffers;
  std::unique_ptr<TextureUploader> _uploader;  ///< made for the first frame
};

}  // namespace vuo
