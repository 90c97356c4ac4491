#pragma once

#include "runtime/graph/Canvas.h"
#include "runtime/graph/NodeWork.h"
#include "runtime/graph/PictureSize.h"

namespace vuo {

/// Draws a picture with a fragment shader.
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

  std::vector<ImageRef> sampleableImages(const std::vector<Value>& inputs);
  void setUniforms(const std::vector<Value>& inputs, PictureSize::Size size) const;

  Canvas& _canvas;
  const PictureSize _size;
  const ShaderProgram _program;
  std::vector<Uniform> _uniforms;  ///< by input
};

}  // namespace vuo
