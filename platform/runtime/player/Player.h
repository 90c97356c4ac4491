#pragma once

#include <memory>

#include "platform/runtime/graph/LocalComposition.h"
#include "platform/runtime/player/Reporter.h"

namespace vuo {

/// Runs the composition of one executable for the host at the other end of a socket.
class Player {
 public:
  Player(FileDescriptor socket, const Plan& plan, const std::string& folder);

  /// Lets the composition come up and does what the host says. Returns when it says stop or the
  /// composition has not come up (true), or when the host is gone (false).
  bool serve();
  /// Ends the composition, if it does end soon. Afterwards the process may exit at any moment.
  void stop();

 private:
  bool serve(Message message);
  void takeEvent(json_object* message);
  void takeCancel(EventNumber number);
  void tellNotRun(EventNumber number, EventReport::Outcome outcome);
  void takeImage(Message message);

  MessageSocket _socket;
  FrameSender _frames;
  Reporter _reporter;
  LocalComposition _composition;
  std::unique_ptr<TextureUploader> _uploader;  ///< made for the first image that comes
};

}  // namespace vuo
