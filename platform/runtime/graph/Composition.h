// A composition that runs, as a runner sees it: in this process or behind a socket.
#pragma once

#include <string>
#include <vector>

#include "platform/runtime/Value.h"

namespace vuo {

struct PublishedPort {
  std::string name;
  Type type;
};

struct PublishedPorts {
  std::vector<PublishedPort> inputs, outputs;
};

/// A published output was reached by an event.
struct OutputReport {
  std::size_t output = 0;
  bool sentData = false;
  Value value;  ///< the output's new value; only with data
};

/// Told what happens, on a thread of the composition, one call at a time.
class CompositionListener {
 public:
  virtual ~CompositionListener() = default;
  /// Everything that one event reached. Where the composition runs in this process its GL context
  /// is current, and the images are complete on the GPU. The reports may be taken apart.
  virtual void outputsReached(std::vector<OutputReport>& reports) = 0;
  virtual void eventDropped(std::size_t input) = 0;
  virtual void failed(const std::string& message) = 0;
  /// The composition has ended without having been asked to. At most once, as the last call.
  virtual void contactLost() = 0;
};

/// Any thread may call any operation. Ports are named by their places in the lists that `start`
/// gave. Nothing runs any more when the destructor has returned.
class Composition {
 public:
  virtual ~Composition() = default;
  /// Throws std::runtime_error when the composition can't run. To be called once.
  virtual PublishedPorts start() = 0;
  /// Takes effect with the next event. Throws std::runtime_error when the value does not fit or
  /// the composition is gone. The JSON value is only read.
  virtual void setValue(std::size_t input, json_object* value) = 0;
  /// Fires one event into the inputs. Throws std::runtime_error when the composition is gone.
  virtual void fire(std::vector<std::size_t> inputs) = 0;
  /// Asks the composition to end after the event that it is working on. Does not wait.
  virtual void stop() = 0;
  /// Must not be called by the listener.
  virtual void waitUntilStopped() = 0;
};

}  // namespace vuo
