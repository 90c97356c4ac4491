// The limit for a process of its own: a program that draws one frame with nothing but OpenGL and
// says so, and does the same again for each byte that comes on its standard input.
//   bench-bare-start SHADER WIDTH HEIGHT
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
  char asked;
  while (::write(STDOUT_FILENO, "!", 1) == 1 && ::read(STDIN_FILENO, &asked, 1) == 1) bare.draw(1);
  _exit(0);
}
