// Between RGB pictures and the planes of a video.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "Brannow/ZQBufferPool.h"

/// Planes Y, U and V of full size, BT.601 in video range. Alpha is left out.
std::vector<std::uint8_t> yuv444From(const ZQPixels& picture);

/// How the planes of a frame lie: 8 bits each, chroma smaller by these factors, or none.
struct YuvLayout {
  std::size_t width = 0;
  std::size_t height = 0;
  std::size_t chromaAcross = 2;
  std::size_t chromaDown = 2;
  bool hasChroma = true;
  bool isFullRange = false;

  std::size_t chromaWidth() const { return (width + chromaAcross - 1) / chromaAcross; }
  std::size_t chromaHeight() const { return (height + chromaDown - 1) / chromaDown; }
  std::size_t frameSize() const {
    return width * height + (hasChroma ? 2 * chromaWidth() * chromaHeight() : 0);
  }
};

/// The picture of planes that lie in this layout (BT.601), opaque.
ZQPixels pictureFromYuv(const std::vector<std::uint8_t>& planes, const YuvLayout& layout);
