#include "host/view/ViewCommand.h"

#include <iostream>

#include "host/Failure.h"
#include "host/HostSession.h"
#include "host/PixelSize.h"
#include "host/view/ViewWindow.h"
#include "host/view/Viewer.h"

namespace {

/// The window goes last: its context is the root of everything that the session shares.
void viewInWindow(const ViewOptions& options) {
  if (const auto problem = whyNotShown(options.file)) throw Failure{*problem};
  const auto size = options.size ? std::optional(sizeFromText(*options.size)) : std::nullopt;
  ViewWindow window("brannow", size, options.display);
  if (options.isFullScreen) window.toggleFullScreen();
  const auto session = HostSession::begin(options.cacheFolder, brannow::GLContext::wrapCurrent());
  if (!session) throw Failure{"the window's OpenGL can't be shared"};
  Viewer(options, window, *session).run();
}

}  // namespace

int view(const ViewOptions& options) {
  try {
    viewInWindow(options);
    return 0;
  } catch (const Failure& failure) {
    std::cerr << "brannow: " << failure.message << "\n";
    return 1;
  }
}
