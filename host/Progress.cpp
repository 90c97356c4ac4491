#include "host/Progress.h"

#include <unistd.h>

#include <iostream>
#include <string>

Progress::Progress() : _isShown(::isatty(STDERR_FILENO) != 0) {}

Progress::~Progress() {
  clear();
}

void Progress::show(int done, int count, std::chrono::seconds waited) {
  if (!_isShown) return;
  std::string line = "\r\x1B[K" + std::to_string(done);
  if (count > 0) {
    constexpr int kWidth = 40;
    const auto part = static_cast<std::size_t>(static_cast<long long>(kWidth) * done / count);
    line += " of " + std::to_string(count) + "  [" + std::string(part, '#') +
            std::string(kWidth - part, ' ') + "]";
  } else {
    line += done == 1 ? " frame" : " frames";
  }
  if (waited.count() > 0) line += "  waiting for " + std::to_string(waited.count()) + " s";
  std::cerr << line << std::flush;
  _isThere = true;
}

void Progress::clear() {
  if (_isThere) std::cerr << "\r\x1B[K" << std::flush;
  _isThere = false;
}
