#include "host/DrawingLimit.h"

#include <epoxy/gl.h>

#include <algorithm>

#include "host/Failure.h"

void requireDrawable(const brannow::GLContext& context, ZQSize size, const std::string& what) {
  const brannow::GLCurrent current(context);
  if (!current) throw Failure{"the OpenGL context can't be used"};
  GLint texture = 0;
  GLint viewport[2] = {0, 0};
  glGetIntegerv(GL_MAX_TEXTURE_SIZE, &texture);
  glGetIntegerv(GL_MAX_VIEWPORT_DIMS, viewport);
  const int widest = std::min(texture, viewport[0]);
  const int highest = std::min(texture, viewport[1]);
  if (size.width <= widest && size.height <= highest) return;
  throw Failure{what + ": the graphics driver draws no picture larger than " +
                std::to_string(widest) + "x" + std::to_string(highest) + " pixels"};
}
