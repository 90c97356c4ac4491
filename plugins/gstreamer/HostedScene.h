#pragma once

#include <atomic>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "Brannow/VuoGLScene.h"
#include "platform/system/Mutex.h"

/// The composition of an element: loaded, asked for pictures, and loaded again when it is lost.
/// Settings and values may come from any thread; everything else belongs to the streaming thread,
/// or to that which changes the state while there is none.
class HostedScene {
 public:
  using Value = std::shared_ptr<const ZQVuoPortValue>;
  using Warning = std::function<void(const std::string&)>;

  /// `warn` is told of what a pipeline survives, on the streaming thread.
  explicit HostedScene(Warning warn) : _warn(std::move(warn)) {}

  struct Settings {
    std::string file;
    bool isInProcess = false;
    /// It is not waited for longer than a frame lasts, nor while it is loaded again.
    bool isLive = false;
  };
  /// False, with what the compiler or the start said in `problem`.
  bool start(const Settings& settings, std::string& problem);
  void stop();
  /// What the file publishes; null before `start`.
  std::shared_ptr<ZQVuoComposition> description() const { return _description; }

  void setInput(const std::string& port, Value value);
  /// What has been set; null where nothing has.
  Value input(const std::string& port) const;
  /// As it was with the last picture.
  Value output(const std::string& port) const;

  /// The picture for this request, whose values are filled in; where none can be had the last one,
  /// null before the first. `longest` counts only where live.
  ZQBufferRef picture(VuoFrameRequest request, std::chrono::nanoseconds longest);
  /// Whether the last call had to give the picture from before.
  bool isRepeated() const { return _isRepeated; }
  /// While set, a wait ends with the last picture. Any thread.
  void setInterrupted(bool isInterrupted) { _isInterrupted = isInterrupted; }

 private:
  struct Loaded {
    std::shared_ptr<VuoGLScene> scene;
    std::string problem;
  };
  static Loaded load(const Settings& settings);
  void begin(std::shared_ptr<VuoGLScene> scene);
  bool comeBack();
  void lose(const std::string& how);
  void addValues(VuoFrameRequest& request);
  VuoFrame wait(std::chrono::nanoseconds longest);
  void keep(VuoFrame frame);

  const Warning _warn;
  Settings _settings;
  std::shared_ptr<ZQVuoComposition> _description;
  std::shared_ptr<VuoGLScene> _scene;
  std::shared_ptr<VuoPendingFrame> _asked;  ///< the request that is still to be answered
  std::future<Loaded> _returning;
  std::chrono::steady_clock::time_point _nextLoad;
  std::string _lastComplaint;
  ZQBufferRef _picture;
  bool _isRepeated = false;
  std::atomic<bool> _isInterrupted = false;

  mutable platform::Mutex _lock;  ///< nothing is called with it held
  std::map<std::string, Value> _inputs GUARDED_BY(_lock);
  std::map<std::string, Value> _unsent GUARDED_BY(_lock);
  std::map<std::string, Value> _outputs GUARDED_BY(_lock);
};
