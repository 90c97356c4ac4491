// A helper process that a host might write: draws, and sends the raw frames through a pipe.
//   bench-raw-source SHADER WIDTH HEIGHT FRAMES
#include <unistd.h>

#include <cstdlib>

#include "benchmarks/BareLoop.h"
#include "benchmarks/Session.h"

namespace {

bool send(const std::vector<std::uint8_t>& pixels) {
  for (std::size_t sent = 0; sent < pixels.size();) {
    const ssize_t count = ::write(STDOUT_FILENO, pixels.data() + sent, pixels.size() - sent);
    if (count <= 0) return false;
    sent += static_cast<std::size_t>(count);
  }
  return true;
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 5) return 2;
  const auto root = platform::GLContext::createRoot();
  if (!root) return 1;
  BareLoop bare(*root, textOf(arguments[1]), std::atoi(arguments[2]), std::atoi(arguments[3]));
  for (int frames = std::atoi(arguments[4]); frames > 0; --frames)
    if (!send(bare.drawAndRead())) return 0;
}
