#include "benchmarks/BareLoop.h"

#include <epoxy/gl.h>

#include <cstdio>
#include <cstdlib>

namespace {

constexpr const char* vertexShader = R"(#version 330 core
out vec2 uv;
void main() {
  uv = vec2((gl_VertexID << 1) & 2, gl_VertexID & 2);
  gl_Position = vec4(uv * 2.0 - 1.0, 0.0, 1.0);
}
)";

void attach(GLuint program, GLenum kind, const char* source) {
  const GLuint shader = glCreateShader(kind);
  glShaderSource(shader, 1, &source, nullptr);
  glCompileShader(shader);
  glAttachShader(program, shader);
  glDeleteShader(shader);
}

GLuint newTexture(int width, int height) {
  GLuint name = 0;
  glGenTextures(1, &name);
  glBindTexture(GL_TEXTURE_2D, name);
  glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, width, height, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAX_LEVEL, 0);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
  glBindTexture(GL_TEXTURE_2D, 0);
  return name;
}

}  // namespace

BareLoop::BareLoop(const brannow::GLContext& shareWith, const std::string& fragmentShader,
                   int width, int height, std::uint32_t input)
    : BareLoop(brannow::GLContext::createSharedWith(shareWith.handle()), nullptr, fragmentShader,
               width, height, input) {}

BareLoop::BareLoop(BareLoop& firstPass, const std::string& fragmentShader)
    : BareLoop(firstPass._context, &firstPass, fragmentShader, firstPass._width, firstPass._height,
               0) {}

BareLoop::BareLoop(std::shared_ptr<brannow::GLContext> context, BareLoop* firstPass,
                   const std::string& fragmentShader, int width, int height, std::uint32_t input)
    : _context(std::move(context)),
      _width(width),
      _height(height),
      _input(input),
      _firstPass(firstPass),
      _pixels(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4) {
  const brannow::GLCurrent current(*_context);
  _program = glCreateProgram();
  attach(_program, GL_VERTEX_SHADER, vertexShader);
  attach(_program, GL_FRAGMENT_SHADER, fragmentShader.c_str());
  glLinkProgram(_program);
  GLint linked = 0;
  glGetProgramiv(_program, GL_LINK_STATUS, &linked);
  if (!linked) {
    std::fprintf(stderr, "the bare loop's shader can't be used\n");
    std::_Exit(1);
  }
  _time = glGetUniformLocation(_program, "time");
  glGenVertexArrays(1, &_vertexArray);
  glGenFramebuffers(1, &_framebuffer);
  for (std::uint32_t& picture : _pictures) picture = newTexture(width, height);
  for (std::uint32_t& picture : _carried) picture = newTexture(width, height);
}

BareLoop::~BareLoop() {
  const brannow::GLCurrent current(*_context);
  glDeleteTextures(2, _pictures);
  glDeleteTextures(2, _carried);
  glDeleteFramebuffers(1, &_framebuffer);
  glDeleteVertexArrays(1, &_vertexArray);
  glDeleteProgram(_program);
}

void BareLoop::drawOnce() {
  if (_firstPass != nullptr) {
    _firstPass->drawOnce();
    _input = _firstPass->_pictures[_firstPass->_framesDrawn % 2];
  }
  glUseProgram(_program);
  glUniform1f(_time, static_cast<float>(_framesDrawn++) / 60.0F);
  if (_input != 0) glBindTexture(GL_TEXTURE_2D, _input);
  glBindFramebuffer(GL_FRAMEBUFFER, _framebuffer);
  glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D,
                         _pictures[_framesDrawn % 2], 0);
  glViewport(0, 0, _width, _height);
  glBindVertexArray(_vertexArray);
  glDrawArrays(GL_TRIANGLES, 0, 3);
}

void BareLoop::draw(int frames) {
  const brannow::GLCurrent current(*_context);
  for (int i = 0; i < frames; ++i) {
    drawOnce();
    glFinish();
  }
}

void BareLoop::drawAndCarry(int frames) {
  const brannow::GLCurrent current(*_context);
  for (int i = 0; i < frames; ++i) {
    drawOnce();
    glReadPixels(0, 0, _width, _height, GL_RGBA, GL_UNSIGNED_BYTE, _pixels.data());
    glBindTexture(GL_TEXTURE_2D, _carried[_framesDrawn % 2]);
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, _width, _height, GL_RGBA, GL_UNSIGNED_BYTE,
                    _pixels.data());
    glFinish();
  }
}

const std::vector<std::uint8_t>& BareLoop::drawAndRead() {
  const brannow::GLCurrent current(*_context);
  drawOnce();
  glReadPixels(0, 0, _width, _height, GL_RGBA, GL_UNSIGNED_BYTE, _pixels.data());
  return _pixels;
}

AskedBareLoop::~AskedBareLoop() {
  {
    platform::LockGuard hold(_lock);
    _ended = true;
  }
  _asked.notify_one();
  _thread.join();
}

void AskedBareLoop::draw(int frames) {
  for (int i = 0; i < frames; ++i) {
    {
      platform::LockGuard hold(_lock);
      _toDraw = 1;
    }
    _asked.notify_one();
    platform::UniqueLock hold(_lock);
    while (_toDraw != 0) _drawn.wait(hold);
  }
}

void AskedBareLoop::serve() {
  platform::UniqueLock hold(_lock);
  while (true) {
    while (_toDraw == 0 && !_ended) _asked.wait(hold);
    if (_ended) return;
    hold.unlock();
    _loop.draw(1);
    hold.lock();
    _toDraw = 0;
    _drawn.notify_one();
  }
}
