#pragma once

#include <memory>

#include "runtime/graph/CurrentProcessInstance.h"
#include "runtime/player/Reporter.h"

namespace vuo {

/// Runs the composition of one executable for the host at the other end of a socket.
class Player {
 public:
  Player(platform::FileDescriptor socket, const Plan& plan, const std::string& folder);

  /// Lets the composition come up and does what the host says. Returns when it says stop or the
  /// composition has not come up (true), or when the host is gone (false). Throws ProtocolError
  /// when it says what no host of this build says.
  bool serve();
  /// Ends the composition, if it does end soon. Afterwards the process may exit at any moment.
  void stop();

 private:
  bool serve(MessageSocket::Received received);
  void handle(message::Greeting greeting);
  void handle(message::Values& values);
  void handle(message::Event& event);
  void handle(const message::Cancel& cancel);
  void handle(const message::InputPicture& picture);
  void handle(const message::BufferBack& back);
  void handle(message::Stop) {}
  void handle(message::Texture& texture);
  void handle(const message::TextureGone& gone) { _textures.handle(gone); }
  void handle(const message::InputTexture& picture);
  void tellNotRun(EventNumber number, EventReport::Outcome outcome);
  Type typeOf(std::uint32_t input) const;
  ImageRef upload(const message::InputPicture& picture);

  const std::vector<Port> _inputs;
  MessageSocket _socket;
  FrameSender _frames;
  PlayerTextures _textures;
  Reporter _reporter;
  CurrentProcessInstance _composition;
  bool _isGreeted = false;
  platform::FileDescriptor _memory;            ///< of the message that is being taken
  std::unique_ptr<TextureUploader> _uploader;  ///< made for the first image that comes
};

}  // namespace vuo
