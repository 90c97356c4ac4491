// Runs one compiled composition, inside this process or in a process of its own.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

struct json_object;
class VuoRunnerDelegate;

/// Every operation may be called from any thread and throws std::runtime_error when the composition
/// was not started or is gone. Events are processed in the order of firing; values take part in
/// that order. None waits for the composition, but `waitUntilStopped` and the destructor.
class VuoRunner {
 public:
  /// A published port; lives as long as its runner.
  class Port {
   public:
    explicit Port(std::string name) : _name(std::move(name)) {}
    std::string getName() const { return _name; }

   private:
    std::string _name;
  };

  /// What a caller knows an event by. It comes back with everything that the event made.
  struct EventTag {
    std::uint64_t number = 0;  ///< 0: an event that nobody gave a tag
    double time = 0;
  };

  /// The values of all published outputs as one moment left them. Any thread; never changes.
  class Outputs {
   public:
    virtual ~Outputs() = default;
    /// As a new value that the caller owns; null where the output has none or is unknown.
    virtual json_object* value(const std::string& output) const = 0;
    /// Of the event that gave the output its value.
    virtual EventTag madeBy(const std::string& output) const = 0;
    /// Why a node that the value depends on could not do its work; empty when all could.
    virtual std::string fault(const std::string& output) const = 0;
  };

  /// A tagged event on its way. Given up before the composition has begun with it, it is not run;
  /// the values that were set for it stay. Any thread; may outlive its runner.
  class Event {
   public:
    enum class State {
      Waiting,
      Done,
      Dropped,  ///< too many events were waiting
      Ended,    ///< the composition ended first
    };
    using Deadline = std::optional<std::chrono::steady_clock::time_point>;

    virtual ~Event() = default;
    /// Takes no lock.
    virtual State state() const = 0;
    /// Returns when the state is another than `Waiting`, or at the deadline; none: however long
    /// that takes.
    virtual State waitUntil(Deadline deadline) = 0;
    /// The outputs as the event left them; null unless it is done.
    virtual std::shared_ptr<const Outputs> outputs() const = 0;
    /// With `Ended`: how, for people; empty when the composition was told to stop.
    virtual std::string endDescription() const = 0;
  };

  using Patience = std::optional<std::chrono::nanoseconds>;
  static constexpr std::chrono::seconds defaultPatience{10};

  /// Told how the composition gets on, on the runtime's threads. What comes to an end is told to
  /// the delegate.
  class Watcher {
   public:
    virtual ~Watcher() = default;
    /// The composition has come up.
    virtual void cameUp() = 0;
    /// A composition in this process has been at one event, or at coming up, for longer than the
    /// patience. It can't be ended from outside. Told again after each further patience.
    virtual void isOverdue(std::chrono::nanoseconds waited) = 0;
    /// It has got on after all.
    virtual void hasCaughtUp() = 0;
  };

  /// A runner, not yet started, that will run the executable in a process of its own with
  /// `sourceDirectory` as the folder that the files it names are in. What runs is the runtime's own
  /// player, whatever program the file names. The file is opened and checked at once, so that
  /// replacing it afterwards does not touch this runner; throws std::runtime_error. The process
  /// ends with this one; with `outliveHost` it goes on, idle, until somebody ends it.
  /// `deleteExecutable` removes the file with the runner.
  static VuoRunner* newSeparateProcessRunnerFromExecutable(std::string executablePath,
                                                           std::string sourceDirectory,
                                                           bool outliveHost, bool deleteExecutable);
  /// The same for a dynamic library inside this process.
  static VuoRunner* newCurrentProcessRunnerFromDynamicLibrary(std::string dylibPath,
                                                              std::string sourceDirectory,
                                                              bool deleteDylib);

  /// The file of a compiled composition, before it is run.
  struct Artefact {
    /// It is there, undamaged and of this version of the runtime, and the files that the
    /// composition names are still those that it was made from. Where not, compiling the
    /// composition again helps, or tells what is wrong.
    bool canRun = false;
    std::vector<std::string> files;  ///< those, in `sourceDirectory`, as far as it can be read
  };
  /// Reads the artefact, and asks the file system once for each of the files.
  static Artefact artefactAt(const std::string& artefactPath, const std::string& sourceDirectory);

  /// Stops the composition if it still runs.
  virtual ~VuoRunner() = default;

  /// Installs the object that is told what happens, or removes it. No callback of the previous
  /// delegate runs once this has returned; must not be called from a callback.
  virtual void setDelegate(VuoRunnerDelegate* delegate) = 0;

  /// Before `start`.
  virtual void setWatcher(std::weak_ptr<Watcher> watcher) = 0;
  /// How long the composition may be at one event, or at coming up; none: as long as it takes. A
  /// process that takes longer is ended, and contact with it lost. `defaultPatience` at first.
  virtual void setPatience(Patience patience) = 0;

  /// Asks for the composition to be started and returns at once. Its ports can be used: what is set
  /// and fired goes ahead, in order, when it has come up. One that does not come up is lost.
  virtual void start() = 0;
  /// Asks the composition to end. Returns at once.
  virtual void stop() = 0;
  /// Returns when the composition has ended. A process that does not end within a second is ended;
  /// inside this process the event that is running is waited for, however long it takes. Must not
  /// be called from a callback.
  virtual void waitUntilStopped() = 0;

  /// The published port of that name, or null.
  virtual Port* getPublishedInputPortWithName(std::string name) = 0;
  virtual Port* getPublishedOutputPortWithName(std::string name) = 0;

  /// Stores a value in the port, for the next event. The caller keeps its own reference to the
  /// value. Throws when the value does not fit the port. What is drawn in an image must be complete
  /// or flushed, and the image must not change until the composition lets go of it.
  virtual void setPublishedInputPortValue(Port* port, json_object* value) = 0;
  /// Fires one event into the composition from this port only. Returns at once.
  virtual void firePublishedInputPortEvent(Port* port) = 0;
  /// Fires one event into every published input port together. Returns at once.
  virtual void firePublishedInputPortEvent() = 0;
  /// The same, as an event whose outcome is kept for whoever holds the result. The number is at
  /// least 1 and used once.
  virtual std::shared_ptr<Event> firePublishedInputPortEvent(EventTag tag) = 0;
  /// When the oldest tagged event was fired that the composition has not finished, even if it has
  /// been given up; none when there is none. Does not throw.
  virtual std::optional<std::chrono::steady_clock::time_point> oldestEventSince() const = 0;
  /// The outputs as they are.
  virtual std::shared_ptr<const Outputs> getPublishedOutputs() const = 0;
  /// How a composition ended that was lost, or why it did not come up, for people; empty when that
  /// is not known. Does not throw.
  virtual std::string lossDescription() const = 0;
  /// The port's current value as a new value that the caller owns, or null when it has none yet.
  virtual json_object* getPublishedOutputPortValue(Port* port) = 0;
};
