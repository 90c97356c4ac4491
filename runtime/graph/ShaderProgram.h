#pragma once

#include <string>

namespace vuo {

/// A linked GL program that covers the whole picture with a fragment shader, which gets the place
/// in the picture, (0, 0) at the lower left to (1, 1) at the upper right, as "in vec2 uv". Made,
/// used and destroyed with one context current.
class ShaderProgram {
 public:
  /// Throws std::runtime_error with the driver's message when the shader does not compile.
  explicit ShaderProgram(const std::string& fragmentSource);
  ~ShaderProgram();
  ShaderProgram(const ShaderProgram&) = delete;
  ShaderProgram& operator=(const ShaderProgram&) = delete;

  unsigned name() const { return _name; }
  /// -1 when the shader makes no use of it.
  int uniformLocation(const std::string& uniform) const;

 private:
  const unsigned _name;
};

}  // namespace vuo
