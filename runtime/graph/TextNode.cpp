#include "runtime/graph/TextNode.h"

#include <epoxy/gl.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>

#include "runtime/Limits.h"
#include "runtime/TextPorts.h"

namespace vuo {
namespace {

/// Alpha is multiplied into the letters, and neither into the picture below nor into the one that
/// is drawn. Without one below, the letters' color is also where nothing is to be seen, so that no
/// other one shows when the picture is drawn at another size.
constexpr const char* source = R"(#version 330 core
in vec2 uv;
out vec4 pixel;
uniform sampler2D below;
uniform sampler2D letters;
uniform ivec2 corner;
uniform vec3 unseen;
uniform bool hasGround;
void main() {
  vec4 ground = texture(below, uv);
  ivec2 place = ivec2(gl_FragCoord.xy) - corner;
  bool isInside = all(greaterThanEqual(place, ivec2(0))) &&
                  all(lessThan(place, textureSize(letters, 0)));
  vec4 ink = isInside ? texelFetch(letters, place, 0) : vec4(0.0);
  float seen = ground.a * (1.0 - ink.a);
  float alpha = ink.a + seen;
  pixel = vec4(alpha > 0.0 ? (ink.rgb + ground.rgb * seen) / alpha : (hasGround ? ground.rgb : unseen), alpha);
}
)";

template <typename Kind>
Kind get(const std::vector<Value>& inputs, std::size_t input, Type type) {
  return std::get<Kind>(converted(inputs[input], type));
}

std::string textIn(const std::vector<Value>& inputs, std::size_t input) {
  return get<std::string>(inputs, input, Type::Text);
}

/// The line of that number, counted from 1; the whole text for 0.
std::string lineOf(const std::string& text, std::int64_t number) {
  if (number == 0) return text;
  std::size_t begin = 0;
  for (; number > 1 && begin != text.npos; --number) {
    const std::size_t end = text.find('\n', begin);
    begin = end == text.npos ? end : end + 1;
  }
  return number < 1 || begin == text.npos ? "" : text.substr(begin, text.find('\n', begin) - begin);
}

/// A part of a side in whole pixels, from -most to most.
std::int64_t pixels(double part, std::uint64_t side, std::uint64_t most) {
  const double wanted = part * static_cast<double>(side), end = static_cast<double>(most);
  return std::isnan(wanted) ? 0 : std::llround(std::clamp(wanted, -end, end));
}

std::uint32_t length(double part, std::uint64_t side, std::uint64_t most) {
  return static_cast<std::uint32_t>(std::max<std::int64_t>(pixels(part, side, most), 0));
}

float component(float value) {
  return std::isnan(value) ? 0 : std::clamp(value, 0.0F, 1.0F);
}

template <typename Names>
Alignment alignmentNamed(const std::string& name, const Names& names) {
  for (std::size_t i = 0; i < names.size(); ++i)
    if (name == names[i]) return static_cast<Alignment>(i);
  throw std::runtime_error("\"" + name.substr(0, 32) + "\" is no alignment; there are " + names[0] +
                           ", " + names[1] + " and " + names[2]);
}

}  // namespace

bool TextNode::Drawing::operator==(const Drawing& other) const {
  return size == other.size && below.get() == other.below.get() && left == other.left &&
         bottom == other.bottom;
}

TextNode::TextNode(const Node& node, Canvas& canvas, std::function<void(const std::string&)> warn)
    : _canvas(canvas), _warn(std::move(warn)), _size(node), _program(source) {
  if (node.inputs.size() != TextInput::count)
    throw std::runtime_error("it has not the inputs of a text");
}

Value TextNode::run(const std::vector<Value>& inputs) {
  const PictureSize::Size size = _size.from(inputs, _canvas.longestSide());
  const auto position = get<VuoPoint2d>(inputs, TextInput::Position, Type::Point2d);
  Drawing drawing{size, get<ImageRef>(inputs, TextInput::Image, Type::Image),
                  pixels(position.x, size.width, _canvas.longestSide()),
                  pixels(position.y, size.height, _canvas.longestSide())};
  const TextSetting setting = settingFrom(inputs, size);
  if (_picture && setting == _setting && drawing == _drawing) return _picture;

  _picture = {};
  if (setting != _setting) setLetters(setting);
  _picture = draw(drawing);
  _drawing = std::move(drawing);
  return _picture;
}

TextSetting TextNode::settingFrom(const std::vector<Value>& inputs, PictureSize::Size size) const {
  const auto height = static_cast<double>(size.height);
  const double part = get<double>(inputs, TextInput::Size, Type::Real);
  const auto color = get<VuoColor>(inputs, TextInput::Color, Type::Color);
  const auto box = get<VuoPoint2d>(inputs, TextInput::Box, Type::Point2d);
  const auto line = get<std::int64_t>(inputs, TextInput::Line, Type::Integer);
  return {lineOf(textIn(inputs, TextInput::Text), line),
          textIn(inputs, TextInput::Font),
          std::isnan(part) ? 0 : std::clamp(part, 0.0, 1.0) * height,
          {component(color.r), component(color.g), component(color.b), component(color.a)},
          alignmentNamed(textIn(inputs, TextInput::Alignment), horizontalAlignments),
          alignmentNamed(textIn(inputs, TextInput::VerticalAlignment), verticalAlignments),
          length(box.x, size.width, _canvas.longestSide()),
          length(box.y, size.height, _canvas.longestSide())};
}

void TextNode::setLetters(const TextSetting& setting) {
  _setting = {};
  _lettersImage = {};
  if (!_typesetter && !setting.text.empty()) _typesetter = makeTypesetter();
  _letters = setting.text.empty() ? Letters() : _typesetter->set(setting);
  for (const std::string& warning : std::exchange(_letters.warnings, {}))
    if (_warnings.size() < mostWarnings && _warnings.insert(warning).second) _warn(warning);
  if (!_letters.pixels.empty())
    _lettersImage = _canvas.imageOfPixels(_letters.width, _letters.height, _letters.pixels.data());
  _letters.pixels = {};
  _setting = setting;
}

/// Only where there are letters the program has something to do, unless the picture below has
/// another size.
ImageRef TextNode::draw(const Drawing& drawing) {
  const auto& [width, height] = drawing.size;
  const ImageRef below = _canvas.sampleable(drawing.below);
  const ImageRef letters = _canvas.sampleable(_lettersImage);
  const std::int64_t left = drawing.left + _letters.left, bottom = drawing.bottom + _letters.bottom;
  std::array<float, 4> unseen = _setting.color;
  unseen[3] = 0;
  const auto setUniforms = [&] {
    _canvas.bind(below, 0);
    _canvas.bind(letters, 1);
    glUniform1i(_program.uniformLocation("below"), 0);
    glUniform1i(_program.uniformLocation("letters"), 1);
    glUniform2i(_program.uniformLocation("corner"), static_cast<GLint>(left),
                static_cast<GLint>(bottom));
    glUniform3fv(_program.uniformLocation("unseen"), 1, unseen.data());
    glUniform1i(_program.uniformLocation("hasGround"), static_cast<bool>(drawing.below));
  };
  if (drawing.below && (below->pixelsWide != width || below->pixelsHigh != height))
    return _canvas.draw(_program, width, height, setUniforms);
  const ImageRef picture =
      drawing.below ? _canvas.copyOf(below) : _canvas.filled(width, height, unseen);
  if (_lettersImage)
    _canvas.drawPart(picture, {left, bottom, _letters.width, _letters.height}, _program,
                     setUniforms);
  return picture;
}

}  // namespace vuo
