// Between RGB pictures and the planes of a video.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "Brannow/ZQBufferPool.h"
#include "host/YuvLayout.h"
#include "host/ZimgGraph.h"

/// Makes frames of a video of one size. Alpha is left out.
class YuvFromPicture {
 public:
  /// The frames' size.
  YuvFromPicture(std::size_t width, std::size_t height);

  /// Three planes of full size, 8 bits, video range. Valid until the next call. A picture of
  /// another size than the frames' is scaled to fit into their middle, with black beside it. Throws
  /// Failure when that can't be done.
  const std::vector<std::uint8_t>& planesOf(const ZQPixels& picture);
  /// Whether the last picture had a pixel that was not opaque.
  bool hadAlpha() const { return _hadAlpha; }

 private:
  /// Where in a frame pictures of a size go.
  struct Place {
    std::size_t left, top, width, height;
  };
  void prepareFor(const ZQPixels& picture);

  const YuvLayout _layout;
  std::size_t _width = 0, _height = 0;  // of the pictures that `_graph` takes
  Place _place{};
  std::optional<ZimgGraph> _graph;
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
