#pragma once

#include <atomic>

#include "platform/runtime/graph/Composition.h"
#include "platform/runtime/transport/FrameTransport.h"

namespace vuo {

/// Sends what the composition reports to the host. A host that is gone is no fault: the player's
/// main thread notices it.
class Reporter : public CompositionListener {
 public:
  Reporter(MessageSocket& socket, FrameSender& frames) : _socket(socket), _frames(frames) {}

  void started() override;
  void eventFinished(EventReport& report) override;
  void eventDropped(std::size_t input) override;
  void failed(const std::string& message) override;
  /// The composition did not come up: nothing else ends it in this process.
  void contactLost(const std::string& how) override;
  bool hasLostContact() const { return _lost; }

 private:
  JsonOwner messageOf(const OutputReport& report);
  void send(const JsonOwner& message);

  MessageSocket& _socket;
  FrameSender& _frames;
  std::atomic<bool> _lost = false;
};

}  // namespace vuo
