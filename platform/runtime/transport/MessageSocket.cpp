#include "platform/runtime/transport/MessageSocket.h"

#include <json-c/json.h>
#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>

namespace vuo {
namespace {

constexpr std::uint32_t longestMessage = 256u << 20;

/// Room for the descriptors of as many messages as one call may receive.
constexpr std::size_t mostDescriptors = 253;

union DescriptorRoom {
  cmsghdr alignment;
  char bytes[CMSG_SPACE(sizeof(int) * mostDescriptors)];
};

int milliseconds(MessageSocket::Patience patience) {
  return patience ? static_cast<int>(patience->count()) : -1;
}

bool isReadyFor(int socket, short what, MessageSocket::Patience patience) {
  pollfd waiting{socket, what, 0};
  int ready;
  do ready = poll(&waiting, 1, milliseconds(patience));
  while (ready < 0 && errno == EINTR);
  return ready > 0;
}

void attach(msghdr& message, DescriptorRoom& room, int descriptor) {
  message.msg_control = room.bytes;
  message.msg_controllen = CMSG_SPACE(sizeof descriptor);
  cmsghdr* header = CMSG_FIRSTHDR(&message);
  header->cmsg_level = SOL_SOCKET;
  header->cmsg_type = SCM_RIGHTS;
  header->cmsg_len = CMSG_LEN(sizeof descriptor);
  std::memcpy(CMSG_DATA(header), &descriptor, sizeof descriptor);
}

void takeDescriptors(msghdr& message, std::deque<FileDescriptor>& descriptors) {
  for (cmsghdr* header = CMSG_FIRSTHDR(&message); header; header = CMSG_NXTHDR(&message, header)) {
    if (header->cmsg_level != SOL_SOCKET || header->cmsg_type != SCM_RIGHTS) continue;
    const std::size_t count = (header->cmsg_len - CMSG_LEN(0)) / sizeof(int);
    for (std::size_t i = 0; i < count; ++i) {
      int descriptor;
      std::memcpy(&descriptor, CMSG_DATA(header) + i * sizeof descriptor, sizeof descriptor);
      descriptors.emplace_back(descriptor);
    }
  }
}

}  // namespace

bool MessageSocket::send(json_object* body, int descriptor, Patience patience) {
  std::size_t length = 0;
  const char* text = json_object_to_json_string_length(body, JSON_C_TO_STRING_PLAIN, &length);
  if (length > longestMessage) return false;
  const Head head{static_cast<std::uint32_t>(length), descriptor >= 0 ? 1u : 0u};
  std::string bytes(reinterpret_cast<const char*>(&head), sizeof head);
  bytes.append(text, length);
  if (sendAll(std::move(bytes), descriptor, patience)) return true;
  shutDown();  // part of the message may have been sent
  return false;
}

bool MessageSocket::sendAll(std::string bytes, int descriptor, Patience patience) {
  std::lock_guard hold(_sendLock);
  DescriptorRoom room{};
  for (std::size_t sent = 0; sent < bytes.size();) {
    iovec part{bytes.data() + sent, bytes.size() - sent};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    if (descriptor >= 0) attach(message, room, descriptor);
    const ssize_t count = sendmsg(_socket.get(), &message, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (count > 0) {
      sent += static_cast<std::size_t>(count);
      descriptor = -1;  // it went with the first byte
    } else if (errno == EAGAIN) {
      if (!isReadyFor(_socket.get(), POLLOUT, patience)) return false;
    } else if (errno != EINTR) {
      return false;
    }
  }
  return true;
}

std::optional<Message> MessageSocket::receive(Patience patience) {
  Head head;
  if (!receiveBytes(sizeof head, patience)) return std::nullopt;
  std::memcpy(&head, _received.data(), sizeof head);
  if (head.length > longestMessage || !receiveBytes(sizeof head + head.length, patience))
    return std::nullopt;

  Message message;
  const std::unique_ptr<json_tokener, decltype(&json_tokener_free)> reader(json_tokener_new(),
                                                                           json_tokener_free);
  message.body.reset(json_tokener_parse_ex(reader.get(), _received.data() + sizeof head,
                                           static_cast<int>(head.length)));
  _received.erase(0, sizeof head + head.length);
  if (!json_object_is_type(message.body.get(), json_type_object)) return std::nullopt;
  if (head.descriptors > 0) {
    if (_descriptors.empty()) return std::nullopt;
    message.descriptor = std::move(_descriptors.front());
    _descriptors.pop_front();
  }
  return message;
}

/// Reads until that many bytes stand in `_received`.
bool MessageSocket::receiveBytes(std::size_t count, Patience patience) {
  while (_received.size() < count) {
    if (patience && !isReadyFor(_socket.get(), POLLIN, patience)) return false;
    char bytes[16 << 10];
    DescriptorRoom room;
    iovec part{bytes, sizeof bytes};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = room.bytes;
    message.msg_controllen = sizeof room.bytes;
    const ssize_t got = recvmsg(_socket.get(), &message, MSG_CMSG_CLOEXEC);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return false;
    takeDescriptors(message, _descriptors);
    if (message.msg_flags & MSG_CTRUNC) return false;
    _received.append(bytes, static_cast<std::size_t>(got));
  }
  return true;
}

bool MessageSocket::takesAtOnce() const {
  return isReadyFor(_socket.get(), POLLOUT, std::chrono::milliseconds(0));
}

void MessageSocket::shutDown() {
  shutdown(_socket.get(), SHUT_RDWR);
}

}  // namespace vuo
