#include "host/StandardInput.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "host/Failure.h"
#include "host/StopSignals.h"

namespace {

/// Up to `room` bytes; 0 at the end of the input.
std::size_t readSome(std::uint8_t* bytes, std::size_t room) {
  for (;;) {
    pollfd waited[] = {{STDIN_FILENO, POLLIN, 0}, {stopDescriptor(), POLLIN, 0}};
    if (::poll(waited, 2, -1) < 0 && errno != EINTR) break;
    if (stopSignal() != 0) return 0;
    if (waited[0].revents == 0) continue;
    const ssize_t count = ::read(STDIN_FILENO, bytes, room);
    if (count >= 0) return static_cast<std::size_t>(count);
    if (errno != EINTR && errno != EAGAIN) break;
  }
  throw Failure{std::string("can't read standard input: ") + std::strerror(errno)};
}

}  // namespace

bool StandardInput::isReady() const {
  pollfd input{STDIN_FILENO, POLLIN, 0};
  return _next < _bytes.size() || _ended || ::poll(&input, 1, 0) > 0;
}

/// Reads what comes next once everything before it has been taken. False at the input's end.
bool StandardInput::fill() {
  if (_next < _bytes.size()) return true;
  constexpr std::size_t kRoom = 1 << 16;
  if (_ended) return false;
  _bytes.resize(kRoom);
  _bytes.resize(readSome(_bytes.data(), kRoom));
  _next = 0;
  _ended = _bytes.empty();
  return !_ended;
}

bool StandardInput::hasEnded() {
  return !fill();
}

void StandardInput::read(std::size_t size, std::vector<std::uint8_t>& taken) {
  constexpr std::size_t kFirst = 1 << 20;
  std::size_t got = 0;
  while (got < size && fill()) {
    // Whoever says how much will come may lie, so there is never much more room than has come.
    if (got == taken.size()) taken.resize(std::max(kFirst, 2 * got));
    taken.resize(std::min(size, taken.size()));
    const auto waiting = _bytes.begin() + static_cast<std::ptrdiff_t>(_next);
    const std::size_t count = std::min(taken.size() - got, _bytes.size() - _next);
    std::copy_n(waiting, count, taken.begin() + static_cast<std::ptrdiff_t>(got));
    _next += count;
    got += count;
  }
  taken.resize(got);
}

std::string StandardInput::readLine(std::size_t longest) {
  std::string line;
  while (line.size() < longest && fill()) {
    const char c = static_cast<char>(_bytes[_next++]);
    if (c == '\n') break;
    line += c;
  }
  return line;
}
