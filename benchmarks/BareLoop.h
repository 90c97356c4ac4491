// The limit: a fragment shader drawn by nothing but OpenGL, in a loop that finishes each frame. It
// draws into two pictures in turn, as everybody does who shows one while the next is drawn.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "Brannow/GLContext.h"
#include "platform/system/Mutex.h"

class BareLoop {
 public:
  /// With a context of its own. `input` is a texture in that context's share group for the shader's
  /// sampler, 0 for a shader without one.
  BareLoop(const brannow::GLContext& shareWith, const std::string& fragmentShader, int width,
           int height, std::uint32_t input = 0);
  /// With the context of another, which must outlive this: each frame is two passes, and the second
  /// one's sampler reads what the first one drew.
  BareLoop(BareLoop& firstPass, const std::string& fragmentShader);
  ~BareLoop();
  BareLoop(const BareLoop&) = delete;
  BareLoop& operator=(const BareLoop&) = delete;

  void draw(int frames);
  /// Reads each frame back once and uploads it once, too.
  void drawAndCarry(int frames);
  /// The texture that was drawn last.
  std::uint32_t picture() const { return _pictures[_framesDrawn % 2]; }
  /// One frame, read into memory that stays the loop's.
  const std::vector<std::uint8_t>& drawAndRead();

 private:
  BareLoop(std::shared_ptr<brannow::GLContext> context, BareLoop* firstPass,
           const std::string& fragmentShader, int width, int height, std::uint32_t input);
  void drawOnce();

  std::shared_ptr<brannow::GLContext> _context;
  int _width, _height;
  std::uint32_t _program = 0, _vertexArray = 0, _framebuffer = 0;
  std::uint32_t _pictures[2], _carried[2];
  std::uint32_t _input;
  BareLoop* _firstPass;
  int _time = -1;
  unsigned _framesDrawn = 0;
  std::vector<std::uint8_t> _pixels;
};

/// A bare loop on a thread of its own, which draws a frame when it is asked to: the least that a
/// call can cost which shall return in bounded time whatever the GPU does.
class AskedBareLoop {
 public:
  /// The loop must outlive this and be used by nobody else meanwhile.
  explicit AskedBareLoop(BareLoop& loop) : _loop(loop) {}
  ~AskedBareLoop();

  void draw(int frames);

 private:
  void serve();

  BareLoop& _loop;
  platform::Mutex _lock;
  platform::ConditionVariable _asked, _drawn;
  int _toDraw GUARDED_BY(_lock) = 0;
  bool _ended GUARDED_BY(_lock) = false;
  std::thread _thread{&AskedBareLoop::serve, this};
};
