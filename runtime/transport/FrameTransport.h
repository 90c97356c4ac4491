// How the pictures of a composition come from the player to its host: through a few buffers of
// shared memory that are used over and over. Both ends are here, and nothing else knows the way.
#pragma once

#include <memory>
#include <vector>

#include "platform/system/Mutex.h"
#include "platform/system/SharedMemory.h"
#include "runtime/textures/TextureUploader.h"
#include "runtime/transport/MessageSocket.h"
#include "runtime/transport/Messages.h"

namespace vuo {

/// The memory of a picture that the other end sent, readable. Throws ProtocolError when it is none
/// of at least that size, and another std::runtime_error when it can't be mapped.
platform::SharedMemory receivedPicture(platform::FileDescriptor memory, std::size_t size);

/// The player's end. Frames are sent on the composition's thread, with its context current.
class FrameSender {
 public:
  /// `mostPerEvent` frames may go into one message.
  FrameSender(MessageSocket& socket, std::size_t mostPerEvent);

  /// The frame for the message. Its pixels are put into a free buffer, which is waited for while
  /// the host has them all. Throws std::runtime_error when that fails or the host is gone.
  message::PictureInBuffer send(const ImageRef& image);
  /// Any thread. Throws ProtocolError when there is no such buffer.
  void handle(const message::BufferBack& back);
  /// The host is gone: nobody waits any more. Any thread.
  void close();

 private:
  struct Whereabouts {
    bool isFree = true;
    bool isLost = false;  ///< for the host
  };

  std::size_t acquireFreeBuffer();
  std::size_t firstFreeBuffer() const REQUIRES(_lock);
  void makeLargeEnough(std::size_t buffer, std::size_t size);
  void release(std::size_t buffer, bool isLost);

  MessageSocket& _socket;
  std::vector<std::unique_ptr<platform::SharedMemory>>
      _memory;            ///< by buffer; of the composition's thread
  platform::Mutex _lock;  ///< no lock is taken inside it
  platform::ConditionVariable _changed;
  std::vector<Whereabouts> _buffers GUARDED_BY(_lock);
  bool _closed GUARDED_BY(_lock) = false;
};

/// The host's end, on one thread.
class FrameReceiver {
 public:
  FrameReceiver(MessageSocket& socket, std::size_t mostPerEvent,
                std::shared_ptr<PictureBudget> budget);

  /// Throws ProtocolError when the player may have no such buffer.
  void handle(const message::Buffer& announced, platform::FileDescriptor memory);
  /// The image of a frame, complete on the GPU; what it lay in goes back to the player. Throws
  /// ProtocolError when the frame makes no sense, and another std::runtime_error when there is no
  /// room for it in the budget or on the machine.
  ImageRef receive(const message::PictureInBuffer& frame);
  /// A picture came another way: what is kept for those that come this way grows older.
  void pictureCameOtherwise();

 private:
  struct Buffer {
    std::unique_ptr<platform::SharedMemory> memory;  ///< null where there was no room for it
    PictureBudget::Share share;
    std::size_t size = 0;
    std::string fault;  ///< why there was none
  };

  MessageSocket& _socket;
  const std::shared_ptr<PictureBudget> _budget;
  std::vector<Buffer> _buffers;
  std::unique_ptr<TextureUploader> _uploader;  ///< made for the first frame
};

}  // namespace vuo
