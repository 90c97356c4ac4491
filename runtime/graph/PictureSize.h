#pragma once

#include <cstdint>
#include <vector>

#include "runtime/Value.h"

namespace vuo {

/// How large a node's picture is. The node's first two inputs are its width and height; where they
/// have no value, the picture is as large as the first image that goes in.
class PictureSize {
 public:
  struct Size {
    std::uint64_t width = 1, height = 1;
    bool operator==(const Size&) const = default;
  };
  /// The inputs in front of the others.
  static constexpr std::size_t inputs = 2;

  /// Throws std::runtime_error when the node does not have the two.
  explicit PictureSize(const Node& node);
  /// Throws std::runtime_error for one that has a side longer than that.
  Size from(const std::vector<Value>& values, std::uint64_t longestSide) const;

 private:
  bool _hasWidth = false, _hasHeight = false;
};

}  // namespace vuo
