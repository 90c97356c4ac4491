// The ports of the node that sets text.
#pragma once

#include <array>
#include <vector>

#include "runtime/VuoPlan.h"

namespace vuo {

/// The places of its inputs. Those of the size stand first, as for every node that makes pictures.
struct TextInput {
  enum : std::size_t {
    Width,
    Height,
    Image,
    Text,
    Line,
    Font,
    Size,
    Color,
    Alignment,
    VerticalAlignment,
    Position,
    Box,
    count
  };
};

inline constexpr std::array horizontalAlignments{"start", "center", "end"};
inline constexpr std::array verticalAlignments{"top", "middle", "bottom"};

/// An input's name and type, with the value that it has where it is given none.
std::vector<Port> textInputs();

}  // namespace vuo
