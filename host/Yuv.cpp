#include "host/Yuv.h"

#include <algorithm>

namespace {

std::uint8_t clipped(int value) {
  return static_cast<std::uint8_t>(std::clamp(value, 0, 255));
}

/// Red, green and blue from y, u and v, in units of 1/256.
struct Matrix {
  int black, y, redV, greenU, greenV, blueU;
};
constexpr Matrix kVideoRange{16, 298, 409, -100, -208, 516};
constexpr Matrix kFullRange{0, 256, 359, -88, -183, 454};

void putPixel(std::uint8_t* rgba, const Matrix& m, int y, int u, int v) {
  const int light = m.y * (y - m.black) + 128;
  rgba[0] = clipped((light + m.redV * v) >> 8);
  rgba[1] = clipped((light + m.greenU * u + m.greenV * v) >> 8);
  rgba[2] = clipped((light + m.blueU * u) >> 8);
  rgba[3] = 255;
}

}  // namespace

std::vector<std::uint8_t> yuv444From(const ZQPixels& picture) {
  const std::size_t count = picture.width * picture.height;
  std::vector<std::uint8_t> planes(3 * count);
  for (std::size_t i = 0; i < count; ++i) {
    const int r = picture.rgba[4 * i], g = picture.rgba[4 * i + 1], b = picture.rgba[4 * i + 2];
    planes[i] = clipped(((66 * r + 129 * g + 25 * b + 128) >> 8) + 16);
    planes[count + i] = clipped(((-38 * r - 74 * g + 112 * b + 128) >> 8) + 128);
    planes[2 * count + i] = clipped(((112 * r - 94 * g - 18 * b + 128) >> 8) + 128);
  }
  return planes;
}

ZQPixels pictureFromYuv(const std::vector<std::uint8_t>& planes, const YuvLayout& layout) {
  ZQPixels picture{layout.width, layout.height, {}};
  picture.rgba.resize(4 * layout.width * layout.height);
  const std::uint8_t* const luma = planes.data();
  const std::uint8_t* const u = luma + layout.width * layout.height;
  const std::uint8_t* const v = u + layout.chromaWidth() * layout.chromaHeight();
  const Matrix& matrix = layout.isFullRange ? kFullRange : kVideoRange;
  for (std::size_t y = 0; y < layout.height; ++y) {
    const std::size_t chromaRow = y / layout.chromaDown * layout.chromaWidth();
    for (std::size_t x = 0; x < layout.width; ++x) {
      const std::size_t at = y * layout.width + x;
      const std::size_t chroma = chromaRow + x / layout.chromaAcross;
      putPixel(&picture.rgba[4 * at], matrix, luma[at], layout.hasChroma ? u[chroma] - 128 : 0,
               layout.hasChroma ? v[chroma] - 128 : 0);
    }
  }
  return picture;
}
