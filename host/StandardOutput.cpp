#include "host/StandardOutput.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <iostream>
#include <streambuf>
#include <string>
#include <vector>

#include "host/Failure.h"

namespace {

class Buffer : public std::streambuf {
 public:
  Buffer() : _bytes(1 << 16) { clear(); }

  /// The system's number for why something could not be written; 0 while everything was.
  int reason = 0;
  bool reasonIsTold = false;

 protected:
  int sync() override {
    const bool written = put(pbase(), static_cast<std::size_t>(pptr() - pbase()));
    clear();
    return written ? 0 : -1;
  }
  int_type overflow(int_type byte) override {
    if (sync() != 0) return traits_type::eof();
    if (traits_type::eq_int_type(byte, traits_type::eof())) return traits_type::not_eof(byte);
    return sputc(traits_type::to_char_type(byte));
  }
  std::streamsize xsputn(const char* bytes, std::streamsize size) override {
    if (size < epptr() - pptr()) return std::streambuf::xsputn(bytes, size);
    return sync() == 0 && put(bytes, static_cast<std::size_t>(size)) ? size : 0;
  }

 private:
  void clear() { setp(_bytes.data(), _bytes.data() + _bytes.size()); }

  bool put(const char* bytes, std::size_t size) {
    while (size > 0 && reason == 0) {
      const ssize_t count = ::write(STDOUT_FILENO, bytes, size);
      if (count < 0) {
        if (errno != EINTR) reason = errno;
        continue;
      }
      bytes += count;
      size -= static_cast<std::size_t>(count);
    }
    return reason == 0;
  }

  std::vector<char> _bytes;
};

Buffer& buffer() {
  static Buffer onlyOne;
  return onlyOne;
}

std::string whatIsWrong() {
  return std::string("can't write to standard output: ") + std::strerror(buffer().reason);
}

std::streambuf* bufferBefore = nullptr;

/// A standard descriptor that is closed would go to the next file that anybody opens. What stands
/// for it instead can be neither read (0) nor written (1, 2).
void fillClosedDescriptors() {
  for (int file = STDIN_FILENO; file <= STDERR_FILENO; ++file) {
    if (::fcntl(file, F_GETFD) >= 0) continue;
    (void)::open("/dev/null", file == STDIN_FILENO ? O_WRONLY : O_RDONLY);
  }
}

}  // namespace

StandardOutput::StandardOutput() {
  fillClosedDescriptors();
  std::signal(SIGPIPE, SIG_IGN);  // whoever writes to a pipe is told by its result
  bufferBefore = std::cout.rdbuf(&buffer());
}

StandardOutput::~StandardOutput() {
  std::cout.rdbuf(bufferBefore);
}

int StandardOutput::finish(int status) {
  std::cout.flush();
  if (buffer().reason == 0 || buffer().reason == EPIPE) return status;
  if (!buffer().reasonIsTold) std::cerr << "brannow: " << whatIsWrong() << "\n";
  return status == 0 ? 1 : status;
}

void flushStandardOutput() {
  std::cout.flush();
  if (buffer().reason == EPIPE) throw ReaderGone{};
  if (buffer().reason == 0) return;
  buffer().reasonIsTold = true;
  throw Failure{whatIsWrong()};
}
