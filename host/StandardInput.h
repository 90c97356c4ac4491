#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// Standard input as bytes. A signal that asks the program to stop ends the input. Throws Failure
/// when the input can't be read.
class StandardInput {
 public:
  /// Reads `size` bytes into `taken`, whose memory is used again; fewer only at the end of the
  /// input.
  void read(std::size_t size, std::vector<std::uint8_t>& taken);
  /// Reads to the next line's end, which is left out, or to the end of the input; no more than
  /// `longest` bytes.
  std::string readLine(std::size_t longest);
  /// Whether the input has ended and nothing of it is left.
  bool hasEnded();
  /// Whether the next bytes, or the end, are there without waiting.
  bool isReady() const;

 private:
  bool fill();

  std::vector<std::uint8_t> _bytes;
  std::size_t _next = 0;  // in `_bytes`
  bool _ended = false;
};
