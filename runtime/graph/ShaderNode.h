#pragma once

#include "runtime/graph/Canvas.h"
#include "runtime/graph/NodeWork.h"

namespace vuo {

/// Draws a picture with a fragment shader. Its first two inputs are the picture's width and height;
/// where they have no value, the picture is as large as the first image that goes in.
class ShaderNode : public NodeWork {
 public:
  ShaderNode(const Node& node, Canvas& canvas);
  Value run(const std::vector<Value>& inputs) override;

 private:
  /// What one input sets.
  struct Uniform {
    int location;
    bool isWidth, isHeight;  ///< set to the picture's size rather than to the input
  };
  struct Size {
    std::uint64_t width, height;
  };

  Size sizeFor(const std::vector<Value>& inputs) const;
  std::vector<ImageRef> sampleableImages(const std::vector<Value>& inputs);
  void setUniforms(const std::vector<Value>& inputs, Size size) const;

  Canvas& _canvas;
  const ShaderProgram _program;
  bool _hasWidth, _hasHeight;
  std::vector<Uniform> _uniforms;  ///< by input
};

}  // namespace vuo
