// The program that plays a composition in a process of its own. The first argument is the folder
// that the files it names are in.
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <stdexcept>

#include "runtime/VuoArtefact.h"
#include "runtime/containment/NoMoreFilesOrPrograms.h"
#include "runtime/player/Player.h"
#include "runtime/textures/ShareGroup.h"
#include "runtime/transport/Protocol.h"

namespace {

vuo::Plan planGiven() {
  const platform::FileDescriptor artefact(vuo::playerArtefact);
  return vuo::planFromText(vuo::planTextIn(artefact.get()));
}

}  // namespace

int main(int count, char** arguments) {
  if (count < 2 || fcntl(vuo::playerSocket, F_SETFD, FD_CLOEXEC) != 0) {
    std::fputs("This program is a composition; the runtime starts it.\n", stderr);
    return 2;
  }
  const bool outlivesHost = count > 2 && std::strcmp(arguments[2], vuo::outliveHostArgument) == 0;
  try {
    // Here the GL driver makes its files. The plan and all that follows is a stranger's.
    const auto group = vuo::ShareGroup::current();
    vuo::noMoreFilesOrPrograms();
    // Never destroyed: the composition's thread may still be in the middle of an event.
    auto* player =
        new vuo::Player(platform::FileDescriptor(vuo::playerSocket), planGiven(), arguments[1]);
    const bool toldToStop = player->serve();
    if (outlivesHost && !toldToStop)
      for (;;) pause();
    player->stop();
  } catch (const std::exception& fault) {
    std::fprintf(stderr, "%s\n", fault.what());
  }
  _exit(0);
}
