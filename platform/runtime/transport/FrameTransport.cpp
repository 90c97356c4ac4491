#include "platform/runtime/transport/FrameTransport.h"

#include <algorithm>
#include <stdexcept>

#include "platform/runtime/ImagePixels.h"
#include "platform/runtime/textures/TextureReader.h"
#include "platform/runtime/transport/Protocol.h"

namespace vuo {
namespace {

/// With these beside the frames of one event, drawing goes on while the host takes frames in.
constexpr std::size_t spareBuffers = 2;

/// Of the player's words to its host, which is there or will end the player.
constexpr MessageSocket::Patience forEver = std::nullopt;

/// Of the host, with a player that does not listen.
constexpr std::chrono::milliseconds hostsPatience{50};

/// Gives a buffer back to the player at the end of a scope, whatever became of the frame. That the
/// player is gone is noticed by whoever receives next.
struct HandBack {
  MessageSocket& socket;
  std::uint64_t buffer;
  ~HandBack() {
    const JsonOwner done = newMessage("frame done");
    add(done.get(), "buffer", buffer);
    socket.send(done.get(), -1, hostsPatience);
  }
};

}  // namespace

FrameSender::FrameSender(MessageSocket& socket, std::size_t mostPerEvent)
    : _socket(socket), _buffers(mostPerEvent + spareBuffers) {}

void FrameSender::take(json_object* message) {
  if (kindOf(message) == "frame done") release(numberIn(message, "buffer"));
}

JsonOwner FrameSender::send(const ImageRef& image) {
  const std::size_t buffer = takeFreeBuffer();
  try {
    makeLargeEnough(buffer, pixelBytes(image->pixelsWide, image->pixelsHigh));
    if (!readPixels(image.get(), _buffers[buffer].memory->bytes()))
      throw std::runtime_error("The image's texture can't be read");
  } catch (...) {
    release(buffer);
    throw;
  }
  JsonOwner frame = newObject();
  add(frame.get(), "buffer", buffer);
  add(frame.get(), "width", image->pixelsWide);
  add(frame.get(), "height", image->pixelsHigh);
  return frame;
}

std::size_t FrameSender::takeFreeBuffer() {
  std::unique_lock hold(_lock);
  auto found = _buffers.end();
  _changed.wait(hold, [&] {
    found = std::find_if(_buffers.begin(), _buffers.end(), [](auto& b) { return b.isFree; });
    return _closed || found != _buffers.end();
  });
  if (_closed) throw std::runtime_error("The host is gone");
  found->isFree = false;
  return static_cast<std::size_t>(found - _buffers.begin());
}

void FrameSender::makeLargeEnough(std::size_t buffer, std::size_t size) {
  std::unique_ptr<SharedMemory>& memory = _buffers[buffer].memory;
  if (memory && memory->size() >= size) return;
  memory = nullptr;
  auto larger = std::make_unique<SharedMemory>(size);
  const JsonOwner message = newMessage("buffer");
  add(message.get(), "buffer", buffer);
  add(message.get(), "size", size);
  if (!_socket.send(message.get(), larger->descriptor(), forEver))
    throw std::runtime_error("The host is gone");
  larger->handedOver();
  memory = std::move(larger);
}

void FrameSender::release(std::size_t buffer) {
  {
    std::lock_guard hold(_lock);
    if (buffer < _buffers.size()) _buffers[buffer].isFree = true;
  }
  _changed.notify_one();
}

void FrameSender::close() {
  {
    std::lock_guard hold(_lock);
    _closed = true;
  }
  _changed.notify_all();
}

bool FrameReceiver::take(Message& message) {
  if (kindOf(message.body.get()) != "buffer") return false;
  takeBuffer(std::move(message));
  return true;
}

void FrameReceiver::takeBuffer(Message message) {
  auto& buffer = _buffers[numberIn(message.body.get(), "buffer")];
  buffer = nullptr;
  buffer = std::make_unique<SharedMemory>(std::move(message.descriptor),
                                          numberIn(message.body.get(), "size"));
}

ImageRef FrameReceiver::receive(json_object* frame) {
  const std::uint64_t number = numberIn(frame, "buffer");
  const std::uint64_t width = numberIn(frame, "width"), height = numberIn(frame, "height");
  const HandBack handBack{_socket, number};
  const auto buffer = _buffers.find(number);
  if (buffer == _buffers.end() || !buffer->second ||
      buffer->second->size() < pixelBytes(width, height))
    throw std::runtime_error("The frame lies in no buffer");
  if (!_uploader) _uploader = std::make_unique<TextureUploader>();
  return _uploader->upload(width, height, buffer->second->bytes());
}

}  // namespace vuo
