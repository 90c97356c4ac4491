// The program of a composition that runs in a process of its own. The plan stands at the end of the
// program's own file; the first argument is the folder that relative file names start from.
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <stdexcept>

#include "platform/runtime/player/Player.h"
#include "platform/runtime/transport/Protocol.h"

namespace {

vuo::Plan ownPlan() {
  const vuo::FileDescriptor self(open("/proc/self/exe", O_RDONLY | O_CLOEXEC));
  return vuo::planOfArtefact(self.get());
}

}  // namespace

int main(int count, char** arguments) {
  if (count < 2 || fcntl(vuo::playerSocket, F_SETFD, FD_CLOEXEC) != 0) {
    std::fputs("This program is a composition; the runtime starts it.\n", stderr);
    return 2;
  }
  const bool outlivesHost = count > 2 && std::strcmp(arguments[2], vuo::outliveHostArgument) == 0;
  try {
    // Never destroyed: the composition's thread may still be in the middle of an event.
    auto* player = new vuo::Player(vuo::FileDescriptor(vuo::playerSocket), ownPlan(), arguments[1]);
    const bool toldToStop = player->serve();
    while (outlivesHost && !toldToStop) pause();
    player->stop();
  } catch (const std::exception& fault) {
    std::fprintf(stderr, "%s\n", fault.what());
  }
  _exit(0);
}
