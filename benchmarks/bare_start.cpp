// The limit for a start in a process of its own: a program that draws one frame with nothing but
// OpenGL, says so and ends.  bench-bare-start SHADER WIDTH HEIGHT
#include <unistd.h>

#include <cstdlib>

#include "benchmarks/BareLoop.h"
#include "benchmarks/Session.h"

int main(int count, char** arguments) {
  if (count != 4) return 2;
  const auto root = brannow::GLContext::createRoot();
  if (!root) return 1;
  BareLoop bare(*root, textOf(arguments[1]), std::atoi(arguments[2]), std::atoi(arguments[3]));
  bare.drawAndCarry(1);
  const bool told = ::write(STDOUT_FILENO, "!", 1) == 1;
  _exit(told ? 0 : 1);
}
