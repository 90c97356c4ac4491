#include "runtime/graph/ShaderProgram.h"

#include <epoxy/gl.h>

#include <stdexcept>
#include <utility>

namespace vuo {
namespace {

/// One triangle that is larger than the picture.
constexpr const char* vertexSource = R"(#version 330 core
out vec2 uv;
void main() {
  uv = vec2((gl_VertexID << 1) & 2, gl_VertexID & 2);
  gl_Position = vec4(uv * 2.0 - 1.0, 0.0, 1.0);
}
)";

using GetParameter = void (*)(GLuint, GLenum, GLint*);
using GetLog = void (*)(GLuint, GLsizei, GLsizei*, GLchar*);

void check(GLuint object, GLenum status, GetParameter parameter, GetLog log) {
  GLint succeeded = 0;
  parameter(object, status, &succeeded);
  if (succeeded) return;
  GLint length = 0;
  parameter(object, GL_INFO_LOG_LENGTH, &length);
  std::string message(static_cast<std::size_t>(length) + 1, '\0');
  log(object, length, nullptr, message.data());
  throw std::runtime_error("the shader can't be used: " + std::string(message.c_str()));
}

/// Shaders and programs alike are needed no longer than this when something fails.
struct GLObject {
  GLuint name;
  void (*destroy)(GLuint);
  ~GLObject() {
    if (name != 0) destroy(name);
  }
};

GLObject compiled(GLenum kind, const std::string& source) {
  GLObject shader{glCreateShader(kind), [](GLuint name) { glDeleteShader(name); }};
  const GLchar* text = source.data();
  const auto length = static_cast<GLint>(source.size());
  glShaderSource(shader.name, 1, &text, &length);
  glCompileShader(shader.name);
  check(shader.name, GL_COMPILE_STATUS, glGetShaderiv, glGetShaderInfoLog);
  return shader;
}

GLuint linked(const std::string& fragmentSource) {
  const GLObject vertex = compiled(GL_VERTEX_SHADER, vertexSource);
  const GLObject fragment = compiled(GL_FRAGMENT_SHADER, fragmentSource);
  GLObject program{glCreateProgram(), [](GLuint name) { glDeleteProgram(name); }};
  glAttachShader(program.name, vertex.name);
  glAttachShader(program.name, fragment.name);
  glLinkProgram(program.name);
  check(program.name, GL_LINK_STATUS, glGetProgramiv, glGetProgramInfoLog);
  return std::exchange(program.name, 0);
}

}  // namespace

ShaderProgram::ShaderProgram(const std::string& fragmentSource) : _name(linked(fragmentSource)) {}

ShaderProgram::~ShaderProgram() {
  glDeleteProgram(_name);
}

int ShaderProgram::uniformLocation(const std::string& uniform) const {
  return glGetUniformLocation(_name, uniform.c_str());
}

}  // namespace vuo
