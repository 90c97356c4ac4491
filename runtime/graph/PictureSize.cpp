#include "runtime/graph/PictureSize.h"

#include <algorithm>
#include <stdexcept>

namespace vuo {
namespace {

bool hasData(const Port& input) {
  return !input.constant.empty() ||
         std::any_of(input.cables.begin(), input.cables.end(),
                     [](const Cable& cable) { return !cable.eventOnly; });
}

}  // namespace

PictureSize::PictureSize(const Node& node) {
  if (node.inputs.size() < inputs)
    throw std::runtime_error("a node that makes pictures has a width and height");
  _hasWidth = hasData(node.inputs[0]);
  _hasHeight = hasData(node.inputs[1]);
}

PictureSize::Size PictureSize::from(const std::vector<Value>& values,
                                    std::uint64_t longestSide) const {
  const auto first = std::find_if(values.begin(), values.end(), [](const Value& value) {
    return std::holds_alternative<ImageRef>(value);
  });
  const ImageRef image = first != values.end() ? std::get<ImageRef>(*first) : ImageRef();
  const auto side = [&](bool given, const Value& value, std::uint64_t ofImage) {
    const auto wanted = given ? std::get<std::int64_t>(converted(value, Type::Integer))
                              : static_cast<std::int64_t>(ofImage);
    const auto longest = static_cast<std::int64_t>(longestSide);
    if (wanted > longest)
      throw std::runtime_error("No side of a picture may have " + std::to_string(wanted) +
                               " pixels: the graphics driver's limit is " +
                               std::to_string(longest));
    return static_cast<std::uint64_t>(std::max<std::int64_t>(wanted, 1));
  };
  return {side(_hasWidth, values[0], image ? image->pixelsWide : 1),
          side(_hasHeight, values[1], image ? image->pixelsHigh : 1)};
}

}  // namespace vuo
