#include "runtime/transport/FrameTransport.h"

#include <algorithm>
#include <stdexcept>

#include "runtime/ImagePixels.h"
#include "runtime/textures/TextureReader.h"

namespace vuo {
namespace {

/// Of the player's words to its host, which is there or will end the player.
constexpr MessageSocket::Patience forEver = std::nullopt;

/// Of the host, with a player that does not listen.
constexpr std::chrono::milliseconds hostsPatience{50};

/// Gives a buffer back to the player at the end of a scope, whatever became of the frame. That the
/// player is gone is noticed by whoever receives next; a player that could not be told would wait
/// for ever, so that is the end of the contact.
struct HandBack {
  MessageSocket& socket;
  message::BufferBack back;
  ~HandBack() {
    try {
      socket.send(encoded(message::ToPlayer(back)), -1, hostsPatience);
    } catch (const std::exception&) {
      socket.shutDown();
    }
  }
};

}  // namespace

platform::SharedMemory receivedPicture(platform::FileDescriptor memory, std::size_t size) try {
  return platform::SharedMemory(std::move(memory), size);
} catch (const platform::NoSharedMemory&) {
  throw ProtocolError("it sent a descriptor of something else than a picture's memory");
}

FrameSender::FrameSender(MessageSocket& socket, std::size_t mostPerEvent)
    : _socket(socket), _memory(mostPerEvent + spareBuffers), _buffers(_memory.size()) {}

void FrameSender::handle(const message::BufferBack& back) {
  if (back.buffer >= _memory.size()) throw ProtocolError("it gave back a buffer that there is not");
  release(back.buffer, back.isLost);
}

message::PictureInBuffer FrameSender::send(const ImageRef& image) {
  const std::size_t buffer = acquireFreeBuffer();
  try {
    makeLargeEnough(buffer, pixelBytes(image->pixelsWide, image->pixelsHigh));
    if (!readPixels(image.get(), _memory[buffer]->bytes()))
      throw std::runtime_error("The image's texture can't be read");
  } catch (...) {
    release(buffer, false);
    throw;
  }
  return {static_cast<std::uint32_t>(buffer), image->pixelsWide, image->pixelsHigh};
}

std::size_t FrameSender::acquireFreeBuffer() {
  platform::UniqueLock hold(_lock);
  std::size_t buffer = firstFreeBuffer();
  for (; !_closed && buffer == _buffers.size(); buffer = firstFreeBuffer()) _changed.wait(hold);
  if (_closed) throw std::runtime_error("The host is gone");
  _buffers[buffer].isFree = false;
  if (std::exchange(_buffers[buffer].isLost, false)) _memory[buffer] = nullptr;
  return buffer;
}

/// One past the last where there is none.
std::size_t FrameSender::firstFreeBuffer() const {
  const auto found = std::ranges::find_if(_buffers, &Whereabouts::isFree);
  return static_cast<std::size_t>(found - _buffers.begin());
}

void FrameSender::makeLargeEnough(std::size_t buffer, std::size_t size) {
  std::unique_ptr<platform::SharedMemory>& memory = _memory[buffer];
  if (memory && memory->size() >= size) return;
  memory = nullptr;
  auto larger = std::make_unique<platform::SharedMemory>(size);
  const message::Buffer announced{static_cast<std::uint32_t>(buffer), size};
  if (!_socket.send(encoded(message::ToHost(announced)), larger->descriptor(), forEver))
    throw std::runtime_error("The host is gone");
  larger->handedOver();
  memory = std::move(larger);
}

void FrameSender::release(std::size_t buffer, bool isLost) {
  {
    platform::LockGuard hold(_lock);
    _buffers[buffer].isFree = true;
    _buffers[buffer].isLost = isLost;
  }
  _changed.notify_one();
}

void FrameSender::close() {
  {
    platform::LockGuard hold(_lock);
    _closed = true;
  }
  _changed.notify_all();
}

FrameReceiver::FrameReceiver(MessageSocket& socket, std::size_t mostPerEvent,
                             std::shared_ptr<PictureBudget> budget)
    : _socket(socket), _budget(std::move(budget)), _buffers(mostPerEvent + spareBuffers) {}

/// Where there is no room for the memory, the frames that lie in it say so.
void FrameReceiver::handle(const message::Buffer& announced, platform::FileDescriptor memory) {
  if (announced.buffer >= _buffers.size()) throw ProtocolError("it made one buffer too many");
  if (announced.size == 0 || announced.size > largestPicture)
    throw ProtocolError("it made a buffer of " + std::to_string(announced.size) + " bytes");
  Buffer& buffer = _buffers[announced.buffer] = Buffer();
  buffer.size = announced.size;
  if (!memory) {
    buffer.fault = "There is no descriptor left for a picture";
    return;
  }
  try {
    buffer.share = PictureBudget::reserve(_budget, announced.size);
    buffer.memory.reset(
        new platform::SharedMemory(receivedPicture(std::move(memory), announced.size)));
  } catch (const ProtocolError&) {
    throw;
  } catch (const std::runtime_error& fault) {
    buffer.share = {};
    buffer.fault = fault.what();
  }
}

ImageRef FrameReceiver::receive(const message::PictureInBuffer& frame) {
  const auto& [number, width, height] = frame;
  if (number >= _buffers.size() || _buffers[number].size == 0 || width == 0 || height == 0 ||
      width > largestPicture || height > largestPicture / width ||
      width * height * 4 > _buffers[number].size)
    throw ProtocolError("it sent a frame that lies in no buffer");
  const Buffer& buffer = _buffers[number];
  const HandBack handBack{_socket, {number, buffer.memory == nullptr}};
  if (!buffer.memory) throw std::runtime_error(buffer.fault);
  if (!_uploader) _uploader = std::make_unique<TextureUploader>(_budget);
  return _uploader->upload(width, height, buffer.memory->bytes());
}

void FrameReceiver::pictureCameOtherwise() {
  if (_uploader) _uploader->madeElsewhere();
}

}  // namespace vuo
