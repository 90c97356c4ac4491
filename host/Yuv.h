// Between RGB pictures and the planes of a video.
#pragma once

#include <cstdint>
#include <vector>

#include "Brannow/ZQBufferPool.h"
#include "host/YuvLayout.h"
#include "host/ZimgGraph.h"

/// Makes frames of a video of pictures of one size. Alpha is left out.
class YuvFromPicture {
 public:
  /// Throws Failure when that can't be done.
  YuvFromPicture(std::size_t width, std::size_t height);

  /// Three planes of full size, 8 bits, video range. Valid until the next call.
  const std::vector<std::uint8_t>& planesOf(const ZQPixels& picture);
  /// Whether the last picture had a pixel that was not opaque.
  bool hadAlpha() const { return _hadAlpha; }

 private:
  const YuvLayout _layout;
  ZimgGraph _graph;
  std::vector<std::uint8_t> _planes;
  bool _hadAlpha = false;
};

/// Makes pictures, opaque ones, of a video's frames.
class PictureFromYuv {
 public:
  /// Throws Failure when that can't be done.
  explicit PictureFromYuv(const YuvLayout& layout);

  /// `planes` has the layout's frame size.
  ZQPixels pictureOf(const std::vector<std::uint8_t>& planes);

 private:
  void fill(const std::vector<std::uint8_t>& planes, const ZimgGraph::Part& part);

  const YuvLayout _layout;
  ZimgGraph _graph;
};
