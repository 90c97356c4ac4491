// A helper process that a host might write: draws, and sends the raw frames through a pipe.
//   bench-raw-source SHADER WIDTH HEIGHT FRAMES [upright]
// A frame's first row is its lowest, as OpenGL has it, or with "upright" its highest, as files do.
#include <unistd.h>

#include <algorithm>
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

std::vector<std::uint8_t> upright(const std::vector<std::uint8_t>& pixels, std::size_t rowBytes) {
  std::vector<std::uint8_t> turned(pixels.size());
  for (std::size_t at = 0; at < pixels.size(); at += rowBytes)
    std::copy_n(&pixels[at], rowBytes, &turned[pixels.size() - rowBytes - at]);
  return turned;
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 5 && count != 6) return 2;
  const auto root = brannow::GLContext::createRoot();
  if (!root) return 1;
  const int width = std::atoi(arguments[2]);
  BareLoop bare(*root, textOf(arguments[1]), width, std::atoi(arguments[3]));
  for (int frames = std::atoi(arguments[4]); frames > 0; --frames) {
    const auto& pixels = bare.drawAndRead();
    const auto rowBytes = 4 * static_cast<std::size_t>(width);
    if (!send(count == 6 ? upright(pixels, rowBytes) : pixels)) return 0;
  }
}
