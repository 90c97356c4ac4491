#include "host/ZimgGraph.h"

#include <algorithm>
#include <cstdlib>
#include <new>
#include <string>

#include "host/Failure.h"

namespace {

constexpr std::size_t kAlignment = 64;  // the most that libzimg may ask for

std::size_t roundedUp(std::size_t size) {
  return (size + kAlignment - 1) / kAlignment * kAlignment;
}

zimgxx::FilterGraph graphBetween(const zimgxx::zimage_format& from,
                                 const zimgxx::zimage_format& to) try {
  return zimgxx::FilterGraph{zimgxx::FilterGraph::build(from, to)};
} catch (const zimgxx::zerror& error) {
  throw Failure{std::string("the video's colors can't be converted: ") + error.msg};
}

int called(void* step, unsigned line, unsigned left, unsigned right) {
  (*static_cast<const ZimgGraph::Step*>(step))({line, left, right});
  return 0;
}

void* opaque(const ZimgGraph::Step& step) {
  return const_cast<ZimgGraph::Step*>(&step);
}

}  // namespace

ZimgGraph::Bytes ZimgGraph::aligned(std::size_t size) {
  Bytes bytes(static_cast<std::uint8_t*>(std::aligned_alloc(kAlignment, roundedUp(size))));
  if (!bytes) throw std::bad_alloc();
  return bytes;
}

std::vector<ZimgGraph::Ring> ZimgGraph::rings(const zimgxx::zimage_format& format, unsigned lines) {
  const std::size_t planes = format.color_family == ZIMG_COLOR_GREY ? 1 : 3;
  const std::size_t sampleSize = format.pixel_type == ZIMG_PIXEL_WORD ? 2 : 1;
  const unsigned mask = zimg_select_buffer_mask(lines);
  std::vector<Ring> all;
  for (std::size_t plane = 0; plane < planes; ++plane) {
    const unsigned across = plane == 0 ? 0 : format.subsample_w;
    const unsigned down = plane == 0 ? 0 : format.subsample_h;
    const std::size_t stride = roundedUp((format.width >> across) * sampleSize);
    // A mask of all ones means the whole picture, and it stays one.
    const unsigned own = mask == ZIMG_BUFFER_MAX ? mask : mask >> down;
    const std::size_t count = own == ZIMG_BUFFER_MAX ? format.height >> down : own + 1;
    all.push_back({aligned(stride * count), stride, own});
  }
  return all;
}

ZimgGraph::ZimgGraph(const zimgxx::zimage_format& from, const zimgxx::zimage_format& to)
    : _graph(graphBetween(from, to)),
      _source(rings(from, _graph.get_input_buffering())),
      _target(rings(to, _graph.get_output_buffering())),
      _scratch(aligned(std::max<std::size_t>(_graph.get_tmp_size(), 1))) {}

void ZimgGraph::run(const Step& fill, const Step& take) {
  zimgxx::zimage_buffer_const source;
  zimgxx::zimage_buffer target;
  for (std::size_t i = 0; i < _source.size(); ++i) {
    source.plane[i] = {_source[i].bytes.get(), static_cast<std::ptrdiff_t>(_source[i].stride),
                       _source[i].mask};
  }
  for (std::size_t i = 0; i < _target.size(); ++i) {
    target.plane[i] = {_target[i].bytes.get(), static_cast<std::ptrdiff_t>(_target[i].stride),
                       _target[i].mask};
  }
  _graph.process(source, target, _scratch.get(), called, opaque(fill), called, opaque(take));
}
