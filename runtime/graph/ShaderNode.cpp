#include "runtime/graph/ShaderNode.h"

#include <epoxy/gl.h>

#include <algorithm>
#include <limits>
#include <stdexcept>

namespace vuo {
namespace {

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

ShaderNode::ShaderNode(const Node& node, Canvas& canvas)
    : _canvas(canvas), _size(node), _program(node.body) {
  for (const Port& input : node.inputs)
    _uniforms.push_back(
        {_program.uniformLocation(input.name), input.name == "width", input.name == "height"});
}

/// What else is drawn or made for a picture uses the texture units too: images are bound last.
Value ShaderNode::run(const std::vector<Value>& inputs) {
  const PictureSize::Size size = _size.from(inputs, _canvas.longestSide());
  const std::vector<ImageRef> images = sampleableImages(inputs);
  return _canvas.draw(_program, size.width, size.height, [&] {
    for (std::size_t unit = 0; unit < images.size(); ++unit)
      _canvas.bind(images[unit], static_cast<unsigned>(unit));
    setUniforms(inputs, size);
  });
}

std::vector<ImageRef> ShaderNode::sampleableImages(const std::vector<Value>& inputs) {
  std::vector<ImageRef> images;
  for (const Value& input : inputs)
    if (const auto* image = std::get_if<ImageRef>(&input))
      images.push_back(_canvas.sampleable(*image));
  return images;
}

void ShaderNode::setUniforms(const std::vector<Value>& inputs, PictureSize::Size size) const {
  GLint nextUnit = 0;
  for (std::size_t i = PictureSize::inputs; i < inputs.size(); ++i) {
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
