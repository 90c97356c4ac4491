#include "runtime/graph/ShaderNode.h"

#include <epoxy/gl.h>

#include <algorithm>
#include <limits>
#include <stdexcept>

namespace vuo {
namespace {

/// The inputs in front of those that stand for uniforms: width and height.
constexpr std::size_t sizeInputs = 2;

bool hasData(const Port& input) {
  return !input.constant.empty() ||
         std::any_of(input.cables.begin(), input.cables.end(),
                     [](const Cable& cable) { return !cable.eventOnly; });
}

GLint asInt(std::int64_t number) {
  using Limits = std::numeric_limits<GLint>;
  return static_cast<GLint>(std::clamp<std::int64_t>(number, Limits::min(), Limits::max()));
}

/// Sets a uniform of the program in use.
struct UniformSetter {
  GLint location;
  GLint& nextUnit;
  void operator()(std::monostate) const {}
  void operator()(const ImageRef&) const { glUniform1i(location, nextUnit++); }
  void operator()(double real) const { glUniform1f(location, static_cast<float>(real)); }
  void operator()(std::int64_t integer) const { glUniform1i(location, asInt(integer)); }
  void operator()(bool truth) const { glUniform1i(location, truth); }
  void operator()(const VuoColor& c) const { glUniform4f(location, c.r, c.g, c.b, c.a); }
  void operator()(const VuoPoint2d& point) const { glUniform2f(location, point.x, point.y); }
  void operator()(const std::string&) const {}
};

}  // namespace

ShaderNode::ShaderNode(const Node& node, Canvas& canvas) : _canvas(canvas), _program(node.body) {
  if (node.inputs.size() < sizeInputs) throw std::runtime_error("a shader has a width and height");
  _hasWidth = hasData(node.inputs[0]);
  _hasHeight = hasData(node.inputs[1]);
  for (const Port& input : node.inputs)
    _uniforms.push_back(
        {_program.uniformLocation(input.name), input.name == "width", input.name == "height"});
}

/// What else is drawn or made for a picture uses the texture units too: images are bound last.
Value ShaderNode::run(const std::vector<Value>& inputs) {
  const Size size = sizeFor(inputs);
  const std::vector<ImageRef> images = sampleableImages(inputs);
  return _canvas.draw(_program, size.width, size.height, [&] {
    for (std::size_t unit = 0; unit < images.size(); ++unit)
      _canvas.bind(images[unit], static_cast<unsigned>(unit));
    setUniforms(inputs, size);
  });
}

ShaderNode::Size ShaderNode::sizeFor(const std::vector<Value>& inputs) const {
  const auto first = std::find_if(inputs.begin(), inputs.end(), [](const Value& value) {
    return std::holds_alternative<ImageRef>(value);
  });
  const ImageRef image = first != inputs.end() ? std::get<ImageRef>(*first) : ImageRef();
  const auto side = [&](bool given, const Value& value, std::uint64_t ofImage) {
    const auto wanted = given ? std::get<std::int64_t>(converted(value, Type::Integer))
                              : static_cast<std::int64_t>(ofImage);
    const auto longest = static_cast<std::int64_t>(_canvas.longestSide());
    if (wanted > longest)
      throw std::runtime_error("No side of a picture may have " + std::to_string(wanted) +
                               " pixels: the graphics driver's limit is " +
                               std::to_string(longest));
    return static_cast<std::uint64_t>(std::max<std::int64_t>(wanted, 1));
  };
  return {side(_hasWidth, inputs[0], image ? image->pixelsWide : 1),
          side(_hasHeight, inputs[1], image ? image->pixelsHigh : 1)};
}

std::vector<ImageRef> ShaderNode::sampleableImages(const std::vector<Value>& inputs) {
  std::vector<ImageRef> images;
  for (const Value& input : inputs)
    if (const auto* image = std::get_if<ImageRef>(&input))
      images.push_back(_canvas.sampleable(*image));
  return images;
}

void ShaderNode::setUniforms(const std::vector<Value>& inputs, Size size) const {
  GLint nextUnit = 0;
  for (std::size_t i = sizeInputs; i < inputs.size(); ++i) {
    const auto& [location, isWidth, isHeight] = _uniforms[i];
    const UniformSetter set{location, nextUnit};
    if (!isWidth && !isHeight) {
      std::visit(set, inputs[i]);
      continue;
    }
    const auto side = static_cast<std::int64_t>(isWidth ? size.width : size.height);
    if (std::holds_alternative<double>(inputs[i]))
      set(static_cast<double>(side));
    else
      set(side);
  }
}

}  // namespace vuo
