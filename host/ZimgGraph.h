#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>
#include <zimg++.hpp>

/// A conversion between planar pictures by libzimg, with the few lines of both that it works on at
/// a time. One thread at a time.
class ZimgGraph {
 public:
  /// Throws Failure when libzimg can't convert between the two.
  ZimgGraph(const zimgxx::zimage_format& from, const zimgxx::zimage_format& to);

  /// A part of the lines that belong to the picture's line `line`, which are as many as the planes'
  /// halving makes of it; `left` and `right` are pixels of the picture.
  struct Part {
    std::size_t line, left, right;
  };
  using Step = std::function<void(const Part&)>;
  /// Converts one picture. `fill` writes parts of lines of the source, some of them several times,
  /// and `take` reads parts of lines of the target.
  void run(const Step& fill, const Step& take);

  /// Line `row` of a plane, while the step runs that fills or takes it.
  std::uint8_t* source(std::size_t plane, std::size_t row) { return _source[plane].line(row); }
  const std::uint8_t* target(std::size_t plane, std::size_t row) {
    return _target[plane].line(row);
  }

 private:
  struct Free {
    void operator()(std::uint8_t* bytes) const { std::free(bytes); }
  };
  using Bytes = std::unique_ptr<std::uint8_t, Free>;
  static Bytes aligned(std::size_t size);

  /// Lines that are used again and again.
  struct Ring {
    Bytes bytes;
    std::size_t stride;
    unsigned mask;
    std::uint8_t* line(std::size_t row) { return bytes.get() + (row & mask) * stride; }
  };
  static std::vector<Ring> rings(const zimgxx::zimage_format& format, unsigned lines);

  zimgxx::FilterGraph _graph;
  std::vector<Ring> _source;
  std::vector<Ring> _target;
  Bytes _scratch;
};
