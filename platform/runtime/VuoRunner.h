// Runs one compiled composition, inside this process or in a process of its own.
#pragma once

#include <stdexcept>
#include <string>
#include <utility>

struct json_object;
class VuoRunnerDelegate;

/// Every operation may be called from any thread and throws std::runtime_error when the composition
/// can't be reached or did not start. Events are processed in the order of firing; values take part
/// in that order.
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

  /// Thrown for a file that is missing or damaged or was made by another version of the runtime:
  /// compiling the composition again helps.
  class ArtefactRefused : public std::runtime_error {
   public:
    using std::runtime_error::runtime_error;
  };

  /// A runner, not yet started, that will run the executable in a process of its own with
  /// `sourceDirectory` as the folder that the files it names are in. What runs is the runtime's own
  /// player, whatever program the file names. The file is opened and checked at once, so that
  /// replacing it afterwards does not touch this runner; throws ArtefactRefused. The process ends
  /// with this one; with `outliveHost` it goes on, idle, until somebody ends it.
  /// `deleteExecutable` removes the file with the runner.
  static VuoRunner* newSeparateProcessRunnerFromExecutable(std::string executablePath,
                                                           std::string sourceDirectory,
                                                           bool outliveHost, bool deleteExecutable);
  /// The same for a dynamic library inside this process.
  static VuoRunner* newCurrentProcessRunnerFromDynamicLibrary(std::string dylibPath,
                                                              std::string sourceDirectory,
                                                              bool deleteDylib);

  /// Stops the composition if it still runs.
  virtual ~VuoRunner() = default;

  /// Installs the object that is told what happens, or removes it. No callback of the previous
  /// delegate runs once this has returned; must not be called from a callback.
  virtual void setDelegate(VuoRunnerDelegate* delegate) = 0;

  /// Starts the composition and returns when its ports can be used.
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
  /// The port's current value as a new value that the caller owns, or null when it has none yet.
  virtual json_object* getPublishedOutputPortValue(Port* port) = 0;
};
