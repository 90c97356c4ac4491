// A composition that runs, as a runner sees it: in this process or behind a socket.
#pragma once

#include <cstdint>
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

/// Names an event; 0 for one that nobody has to know again.
using EventNumber = std::uint64_t;

/// A published output was reached by an event.
struct OutputReport {
  std::size_t output = 0;
  bool sentData = false;
  Value value;  ///< the output's new value; only with data
  /// Why a node that the value depends on could not do its work. Without data: why the new value
  /// is not there.
  std::string fault;
};

/// What became of an event.
struct EventReport {
  enum class Outcome { Run, Dropped, Cancelled };
  EventNumber event = 0;
  Outcome outcome = Outcome::Run;
  std::vector<OutputReport> outputs;  ///< that it reached
};

/// Told what happens, on a thread of the composition, one call at a time.
class CompositionListener {
 public:
  virtual ~CompositionListener() = default;
  /// An event has been run, or it will not be. Where the composition runs in this process its GL
  /// context is current, and the images are complete on the GPU. The report may be taken apart.
  virtual void eventFinished(EventReport& report) = 0;
  virtual void eventDropped(std::size_t input) = 0;
  virtual void failed(const std::string& message) = 0;
  /// The composition has ended without having been asked to. At most once, as the last call.
  virtual void contactLost(const std::string& how) = 0;
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
  /// Fires one event into the inputs. One that is `asked` for also reaches published outputs that
  /// nothing has run for yet. Throws std::runtime_error when the composition is gone.
  virtual void fire(std::vector<std::size_t> inputs, EventNumber number, bool asked) = 0;
  /// Nobody waits for that event any more: if it has not begun it is not run, but its values stay.
  virtual void cancel(EventNumber number) = 0;
  /// Asks the composition to end after the event that it is working on. Does not wait.
  virtual void stop() = 0;
  /// Must not be called by the listener.
  virtual void waitUntilStopped() = 0;
};

}  // namespace vuo
