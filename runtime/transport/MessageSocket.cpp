#include "runtime/transport/MessageSocket.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <thread>

namespace vuo {
namespace {

using Clock = std::chrono::steady_clock;

/// What stands in front of every message.
using Length = std::uint32_t;

/// One more than a message may bring, so that a second one shows.
constexpr std::size_t mostDescriptors = 2;

union DescriptorRoom {
  cmsghdr alignment;
  char bytes[CMSG_SPACE(sizeof(int) * mostDescriptors)];
};

std::optional<Clock::time_point> after(MessageSocket::Patience patience) {
  return patience ? std::optional(Clock::now() + *patience) : std::nullopt;
}

int millisecondsUntil(const std::optional<Clock::time_point>& deadline) {
  if (!deadline) return -1;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(*deadline - Clock::now());
  return static_cast<int>(std::max<std::int64_t>(left.count(), 0));
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

/// Takes what came with some bytes. A message's descriptor comes with its first byte.
void extractDescriptors(msghdr& header, MessageSocket::Received& message, bool isBeginning) {
  std::size_t taken = 0;
  for (cmsghdr* part = CMSG_FIRSTHDR(&header); part; part = CMSG_NXTHDR(&header, part)) {
    if (part->cmsg_level != SOL_SOCKET || part->cmsg_type != SCM_RIGHTS) continue;
    const std::size_t count = (part->cmsg_len - CMSG_LEN(0)) / sizeof(int);
    for (std::size_t i = 0; i < count; ++i, ++taken) {
      int descriptor;
      std::memcpy(&descriptor, CMSG_DATA(part) + i * sizeof descriptor, sizeof descriptor);
      message.descriptor = platform::FileDescriptor(descriptor);
    }
  }
  const bool isTruncated = (header.msg_flags & MSG_CTRUNC) != 0;
  message.descriptorIsLost = message.descriptorIsLost || (isTruncated && taken == 0);
  if (taken > 1 || (isTruncated && taken > 0) || ((isTruncated || taken > 0) && !isBeginning))
    throw ProtocolError("it sent descriptors that belong to no message");
}

bool isShortage(int error) {
  return error == ENOBUFS || error == ENOMEM || error == ETOOMANYREFS;
}

}  // namespace

bool MessageSocket::awaitUntil(short what, const Deadline& deadline) const {
  pollfd waiting{_socket.get(), what, 0};
  int ready;
  do ready = poll(&waiting, 1, millisecondsUntil(deadline));
  while (ready < 0 && errno == EINTR);
  return ready > 0;
}

bool MessageSocket::takesAtOnce() const {
  return awaitUntil(POLLOUT, Clock::now());
}

bool MessageSocket::send(const std::string& bytes, int descriptor, Patience patience) {
  if (bytes.size() > longestMessage)
    throw std::runtime_error("A message of " + std::to_string(bytes.size()) + " bytes is too long");
  const auto length = static_cast<Length>(bytes.size());
  std::string whole(reinterpret_cast<const char*>(&length), sizeof length);
  whole.append(bytes);
  platform::LockGuard hold(_sendLock);
  if (sendAll(whole, descriptor, after(patience))) return true;
  shutDown();  // part of the message may have been sent
  return false;
}

bool MessageSocket::sendAll(std::string_view bytes, int descriptor, const Deadline& deadline) {
  DescriptorRoom room{};
  for (std::size_t sent = 0; sent < bytes.size();) {
    iovec part{const_cast<char*>(bytes.data()) + sent, bytes.size() - sent};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    if (descriptor >= 0 && sent == 0) attach(message, room, descriptor);
    const ssize_t count = sendmsg(_socket.get(), &message, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (count > 0) {
      sent += static_cast<std::size_t>(count);
    } else if (errno == EAGAIN) {
      if (!awaitUntil(POLLOUT, deadline)) return false;
    } else if (errno == ETOOMANYREFS && deadline && Clock::now() < *deadline) {
      // All descriptors that are on their way count, between any processes of the user's. Nobody
      // tells when some have come.
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    } else if (isShortage(errno) && sent == 0) {
      throw std::runtime_error(std::string("A message can't be sent: ") + std::strerror(errno));
    } else if (errno != EINTR) {
      return false;
    }
  }
  return true;
}

std::optional<MessageSocket::Received> MessageSocket::receive(Patience patience) {
  Received message;
  Deadline deadline = after(patience);
  Length length = 0;
  if (!receiveBytes(&length, sizeof length, deadline, message, true)) return std::nullopt;
  if (length > longestMessage)
    throw ProtocolError("it sent a message of " + std::to_string(length) + " bytes");
  message.bytes.resize(length);
  if (!receiveBytes(message.bytes.data(), length, deadline, message, false)) return std::nullopt;
  return message;
}

/// The deadline is that of the message's beginning, and from then on that of its end.
bool MessageSocket::receiveBytes(void* bytes, std::size_t count, Deadline& deadline,
                                 Received& message, bool isBeginning) {
  for (std::size_t received = 0; received < count;) {
    DescriptorRoom room;
    iovec part{static_cast<char*>(bytes) + received, count - received};
    msghdr header{};
    header.msg_iov = &part;
    header.msg_iovlen = 1;
    header.msg_control = room.bytes;
    header.msg_controllen = sizeof room.bytes;
    const int flags = MSG_CMSG_CLOEXEC | (deadline ? MSG_DONTWAIT : 0);
    const ssize_t got = recvmsg(_socket.get(), &header, flags);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0 && errno == EAGAIN) {
      if (awaitUntil(POLLIN, deadline)) continue;
      if (isBeginning && received == 0) return false;
      throw ProtocolError("it did not send the rest of a message");
    }
    if (got <= 0) return false;
    extractDescriptors(header, message, isBeginning && received == 0);
    if (isBeginning && received == 0) deadline = Clock::now() + _wholeMessage;
    received += static_cast<std::size_t>(got);
  }
  return true;
}

void MessageSocket::shutDown() {
  shutdown(_socket.get(), SHUT_RDWR);
}

}  // namespace vuo
