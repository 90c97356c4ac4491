#pragma once

#include <cstddef>

/// How a frame of a video lies in memory: the planes Y, U and V, or Y alone, one after the other
/// and without gaps, and how their numbers turn into colors.
struct YuvLayout {
  /// Where the chroma of 2 by 2 pixels was taken from.
  enum class Siting { Left, Center, TopLeft };

  std::size_t width = 0;
  std::size_t height = 0;
  /// Bits of a sample. One of more than 8 takes two bytes, the lower one first.
  unsigned depth = 8;
  bool hasChroma = true;
  /// How often chroma is halved across and down.
  unsigned chromaAcross = 0;
  unsigned chromaDown = 0;
  Siting siting = Siting::Left;
  bool isFullRange = false;

  /// The files name no standard; all the world takes that of television, which goes by the size.
  bool isBt709() const { return height >= 720; }

  std::size_t sampleSize() const { return depth > 8 ? 2 : 1; }
  std::size_t chromaWidth() const { return halved(width, chromaAcross); }
  std::size_t chromaHeight() const { return halved(height, chromaDown); }
  std::size_t frameSize() const {
    const std::size_t chroma = hasChroma ? 2 * chromaWidth() * chromaHeight() : 0;
    return (width * height + chroma) * sampleSize();
  }

 private:
  static std::size_t halved(std::size_t length, unsigned times) {
    return (length + (std::size_t{1} << times) - 1) >> times;
  }
};
