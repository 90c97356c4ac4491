// A composition that runs, as a runner sees it: in this process or behind a socket.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "runtime/Value.h"

namespace vuo {

struct PublishedPort {
  std::string name;
  Type type;
};

/// The input that stands for a text file: its value is a path for whoever sets it, and the file's
/// text for the composition.
struct PublishedTextFile {
  std::size_t input = 0;
  std::string folder, name;  ///< of the file that the composition names; the name may be empty
};

struct PublishedPorts {
  std::vector<PublishedPort> inputs, outputs;
  std::optional<PublishedTextFile> textFile{};
};

/// Names an event. A composition's events are numbered from 1, in the order of firing.
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
class InstanceListener {
 public:
  virtual ~InstanceListener() = default;
  /// The composition has come up. At most once, as the first call.
  virtual void started() = 0;
  /// An event has been run, or it is sure that it will not be. Told of every event that was fired,
  /// was not dropped at once and was not taken out. Where the composition runs in this process its
  /// GL context is current, and the images are complete on the GPU. The report may be taken apart.
  virtual void eventFinished(EventReport& report) = 0;
  virtual void eventDropped(std::size_t input) = 0;
  virtual void failed(const std::string& message) = 0;
  /// A node has done its work, though not quite as its author meant.
  virtual void warned(const std::string& message) = 0;
  /// The composition did not come up, or has ended without having been asked to. At most once, as
  /// the last call.
  virtual void contactLost(const std::string& how) = 0;
};

/// Any thread may call any operation. Ports are named by their places in the lists of the plan.
/// Nothing runs any more when the destructor has returned.
class Instance {
 public:
  virtual ~Instance() = default;
  /// Lets the composition come up, and does not wait for that: the listener is told of it, or why
  /// it failed. Values and events may follow at once. To be called once.
  virtual void start() = 0;
  /// Takes effect with the next event. Throws std::runtime_error when the value does not fit or
  /// the composition is gone. The JSON value is only read.
  virtual void setValue(std::size_t input, json_object* value) = 0;
  /// Fires one event into the inputs. One that is `asked` for also reaches published outputs that
  /// nothing has run for yet. False when too many events are waiting: it is dropped, but not the
  /// values. Throws std::runtime_error when the composition is gone.
  virtual bool fire(std::vector<std::size_t> inputs, EventNumber number, bool asked) = 0;
  /// Nobody waits for that event any more: if it has not begun it is not run, but its values stay.
  /// True when that is sure already; otherwise its end is reported.
  virtual bool cancel(EventNumber number) = 0;
  /// The composition has been waited for in vain: it is ended as far as that can be done from
  /// outside, and the listener told that contact was lost. False, and nothing done, where it can't.
  virtual bool giveUp(const std::string& why) = 0;
  /// Asks the composition to end after the event that it is working on. Does not wait.
  virtual void stop() = 0;
  /// Must not be called by the listener.
  virtual void waitUntilStopped() = 0;
};

}  // namespace vuo
