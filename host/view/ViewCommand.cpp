#include "host/view/ViewCommand.h"

#include <malloc.h>

#include <iostream>

#include "host/Failure.h"
#include "host/HostSession.h"
#include "host/PixelSize.h"
#include "host/view/ViewWindow.h"
#include "host/view/Viewer.h"

namespace {

/// Not where they would be covered.
int displayOfControls(const ViewOptions& options) {
  if (options.display > 0 || options.outputDisplay == 0) return options.display;
  return options.outputDisplay == 1 ? 2 : 1;
}

/// The window goes last: its context is the root of everything that the session shares.
void viewInWindow(const ViewOptions& options) {
  if (const auto problem = whyNotShown(options.file)) throw Failure{*problem};
  const auto size = options.size ? std::optional(sizeFromText(*options.size)) : std::nullopt;
  if (options.display > 0 && options.display == options.outputDisplay)
    throw Failure{"--output-display needs another display than --display"};
  ViewWindow window("brannow", size, displayOfControls(options));
  if (options.isFullScreen) window.toggleFullScreen();
  const auto session = HostSession::begin(options.cacheFolder, brannow::GLContext::wrapCurrent());
  if (!session) throw Failure{"the window's OpenGL can't be shared"};
  Viewer(options, window, *session).run();
}

}  // namespace

int view(const ViewOptions& options) {
  // A show goes on for hours, and its threads come and go: each would keep what it has freed.
  mallopt(M_ARENA_MAX, 2);
  try {
    viewInWindow(options);
    return 0;
  } catch (const Failure& failure) {
    std::cerr << "brannow: " << failure.message << "\n";
    return 1;
  }
}
