#pragma once

#include <atomic>

#include "runtime/graph/Instance.h"
#include "runtime/player/PlayerTextures.h"
#include "runtime/transport/FrameTransport.h"

namespace vuo {

/// Says what there is to say to the host. A host that is gone is no fault: the player's main thread
/// notices it.
class Reporter : public InstanceListener {
 public:
  Reporter(MessageSocket& socket, FrameSender& frames, PlayerTextures& textures)
      : _socket(socket), _frames(frames), _textures(textures) {}

  // Any thread.
  void greet() { send(message::Greeting()); }
  void pictureTaken() { send(message::PictureTaken()); }
  void failed(const std::string& what) override { tell(what, false); }
  void warned(const std::string& what) override { tell(what, true); }
  /// The composition did not come up: nothing else ends it in this process.
  void contactLost(const std::string& how) override;
  bool hasLostContact() const { return _lost; }
  /// One that was run is the composition's thread's to tell.
  void eventFinished(EventReport& report) override;

  // The composition's thread.
  void started() override;
  /// The host sees it in the event's end.
  void eventDropped(std::size_t) override {}

 private:
  void tell(const std::string& what, bool isWarning);
  message::Report reportOf(OutputReport& output);
  void putPicture(const ImageRef& image, message::Report& report);
  void send(const message::ToHost& message);
  void sendBytes(const std::string& bytes);

  MessageSocket& _socket;
  FrameSender& _frames;
  PlayerTextures& _textures;
  std::atomic<bool> _lost = false;
  std::atomic<std::size_t> _faults = 0;  ///< since an event's end
};

}  // namespace vuo
