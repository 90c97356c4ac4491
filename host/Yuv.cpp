#include "host/Yuv.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

using Format = zimgxx::zimage_format;

constexpr std::uint8_t kBlackLuma = 16, kNoChroma = 128;

/// The length that is a whole number of chroma samples, as libzimg wants it.
unsigned whole(std::size_t chroma, unsigned halved) {
  return static_cast<unsigned>(chroma << halved);
}

zimg_chroma_location_e locationOf(YuvLayout::Siting siting) {
  switch (siting) {
    case YuvLayout::Siting::Center:
      return ZIMG_CHROMA_CENTER;
    case YuvLayout::Siting::TopLeft:
      return ZIMG_CHROMA_TOP_LEFT;
    case YuvLayout::Siting::Left:
      break;
  }
  return ZIMG_CHROMA_LEFT;
}

Format yuvFormat(const YuvLayout& layout) {
  Format format;
  format.width = whole(layout.chromaWidth(), layout.chromaAcross);
  format.height = whole(layout.chromaHeight(), layout.chromaDown);
  format.pixel_type = layout.depth > 8 ? ZIMG_PIXEL_WORD : ZIMG_PIXEL_BYTE;
  format.depth = layout.depth;
  format.color_family = layout.hasChroma ? ZIMG_COLOR_YUV : ZIMG_COLOR_GREY;
  format.subsample_w = layout.chromaAcross;
  format.subsample_h = layout.chromaDown;
  format.chroma_location = locationOf(layout.siting);
  format.matrix_coefficients = layout.isBt709() ? ZIMG_MATRIX_BT709 : ZIMG_MATRIX_ST170_M;
  format.pixel_range = layout.isFullRange ? ZIMG_RANGE_FULL : ZIMG_RANGE_LIMITED;
  return format;
}

Format rgbFormat(const YuvLayout& layout) {
  Format format = yuvFormat(layout);
  format.pixel_type = ZIMG_PIXEL_BYTE;
  format.depth = 8;
  format.color_family = ZIMG_COLOR_RGB;
  format.subsample_w = format.subsample_h = 0;
  format.chroma_location = ZIMG_CHROMA_LEFT;
  format.matrix_coefficients = ZIMG_MATRIX_RGB;
  format.pixel_range = ZIMG_RANGE_FULL;
  return format;
}

/// The result has all bits that every pixel's alpha has.
std::uint8_t split(const std::uint8_t* rgba, std::uint8_t* r, std::uint8_t* g, std::uint8_t* b,
                   std::size_t count) {
  std::uint8_t alpha = 255;
  for (std::size_t i = 0; i < count; ++i) {
    r[i] = rgba[4 * i];
    g[i] = rgba[4 * i + 1];
    b[i] = rgba[4 * i + 2];
    alpha &= rgba[4 * i + 3];
  }
  return alpha;
}

void join(const std::uint8_t* r, const std::uint8_t* g, const std::uint8_t* b, std::uint8_t* rgba,
          std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    rgba[4 * i] = r[i];
    rgba[4 * i + 1] = g[i];
    rgba[4 * i + 2] = b[i];
    rgba[4 * i + 3] = 255;
  }
}

/// Copies the samples from `left` to `right` of a line that has `length`, and goes on with its last
/// one.
void copyLine(const std::uint8_t* line, std::uint8_t* to, std::size_t left, std::size_t right,
              std::size_t length, std::size_t sampleSize) {
  const std::size_t end = std::min(right, length);
  if (left < end)
    std::memcpy(to + left * sampleSize, line + left * sampleSize, (end - left) * sampleSize);
  for (std::size_t i = std::max(left, end); i < right; ++i)
    std::memcpy(to + i * sampleSize, line + (length - 1) * sampleSize, sampleSize);
}

}  // namespace

YuvFromPicture::YuvFromPicture(std::size_t width, std::size_t height)
    : _layout{.width = width, .height = height}, _planes(_layout.frameSize()) {}

void YuvFromPicture::prepareFor(const ZQPixels& picture) {
  const double zoom = std::min(static_cast<double>(_layout.width) / picture.width,
                               static_cast<double>(_layout.height) / picture.height);
  const auto scaled = [zoom](std::size_t length, std::size_t room) {
    return std::clamp<std::size_t>(std::lround(length * zoom), 1, room);
  };
  _width = picture.width;
  _height = picture.height;
  _place.width = scaled(_width, _layout.width);
  _place.height = scaled(_height, _layout.height);
  _place.left = (_layout.width - _place.width) / 2;
  _place.top = (_layout.height - _place.height) / 2;

  Format from = rgbFormat(_layout), to = yuvFormat(_layout);
  from.width = static_cast<unsigned>(_width);
  from.height = static_cast<unsigned>(_height);
  to.width = static_cast<unsigned>(_place.width);
  to.height = static_cast<unsigned>(_place.height);
  _graph.emplace(from, to);
  const auto chroma = _planes.begin() + static_cast<std::ptrdiff_t>(_planes.size() / 3);
  std::fill(_planes.begin(), chroma, kBlackLuma);
  std::fill(chroma, _planes.end(), kNoChroma);
}

const std::vector<std::uint8_t>& YuvFromPicture::planesOf(const ZQPixels& picture) {
  if (picture.width != _width || picture.height != _height) prepareFor(picture);
  std::uint8_t alpha = 255;
  const auto fill = [&](const ZimgGraph::Part& part) {
    alpha &=
        split(&picture.rgba[4 * (part.line * picture.width + part.left)],
              _graph->source(0, part.line) + part.left, _graph->source(1, part.line) + part.left,
              _graph->source(2, part.line) + part.left, part.right - part.left);
  };
  const auto take = [&](const ZimgGraph::Part& part) {
    const std::size_t row = _place.top + part.line, column = _place.left + part.left;
    for (std::size_t plane = 0; plane < 3; ++plane) {
      std::memcpy(&_planes[(plane * _layout.height + row) * _layout.width + column],
                  _graph->target(plane, part.line) + part.left, part.right - part.left);
    }
  };
  _graph->run(fill, take);
  _hadAlpha = alpha != 255;
  return _planes;
}

PictureFromYuv::PictureFromYuv(const YuvLayout& layout)
    : _layout(layout), _graph(yuvFormat(layout), rgbFormat(layout)) {}

void PictureFromYuv::fill(const std::vector<std::uint8_t>& planes, const ZimgGraph::Part& part) {
  const std::uint8_t* plane = planes.data();
  const std::size_t sampleSize = _layout.sampleSize();
  for (std::size_t row = part.line; row < part.line + (1U << _layout.chromaDown); ++row) {
    const std::size_t seen = std::min(row, _layout.height - 1);
    copyLine(plane + seen * _layout.width * sampleSize, _graph.source(0, row), part.left,
             part.right, _layout.width, sampleSize);
  }
  if (!_layout.hasChroma) return;
  plane += _layout.width * _layout.height * sampleSize;
  const std::size_t width = _layout.chromaWidth(), row = part.line >> _layout.chromaDown;
  const std::size_t right = (part.right + (1U << _layout.chromaAcross) - 1) >> _layout.chromaAcross;
  for (std::size_t i = 1; i < 3; ++i) {
    copyLine(plane + row * width * sampleSize, _graph.source(i, row),
             part.left >> _layout.chromaAcross, right, width, sampleSize);
    plane += width * _layout.chromaHeight() * sampleSize;
  }
}

ZQPixels PictureFromYuv::pictureOf(const std::vector<std::uint8_t>& planes) {
  ZQPixels picture{_layout.width, _layout.height, {}};
  picture.rgba.resize(4 * _layout.width * _layout.height);
  const auto take = [&](const ZimgGraph::Part& part) {
    const std::size_t right = std::min(part.right, _layout.width);
    if (part.line >= _layout.height || part.left >= right) return;
    join(_graph.target(0, part.line) + part.left, _graph.target(1, part.line) + part.left,
         _graph.target(2, part.line) + part.left,
         &picture.rgba[4 * (part.line * _layout.width + part.left)], right - part.left);
  };
  _graph.run([&](const ZimgGraph::Part& part) { fill(planes, part); }, take);
  return picture;
}
