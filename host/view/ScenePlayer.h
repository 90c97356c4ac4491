// A composition that is kept running: compiled, started, started again when its file changes.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Brannow/VuoCache.h"
#include "Brannow/VuoGLScene.h"
#include "host/view/FileWatch.h"
#include "host/view/PictureStream.h"

/// For the thread that serves the main queue.
class ScenePlayer {
 public:
  enum class State { Empty, Compiling, Running, Failed, LostContact };

  ScenePlayer(ZQSize size, bool newProcess);
  /// Unloads the scene, which a frame that is being made could otherwise keep alive.
  ~ScenePlayer();
  ScenePlayer(const ScenePlayer&) = delete;
  ScenePlayer& operator=(const ScenePlayer&) = delete;

  /// Called after each start, before the first frame is asked for.
  void setWhenStarted(std::function<void()> whenStarted) { _whenStarted = std::move(whenStarted); }
  /// Called with the reason when what has been compiled does not start.
  void setWhenNotStarted(std::function<void(const std::string&)> whenNotStarted) {
    _whenNotStarted = std::move(whenNotStarted);
  }

  /// Compiles in the background. What runs keeps running until the new one is there, and for good
  /// when the new one does not compile.
  void open(const std::string& file);
  void reload();
  void setNewProcess(bool newProcess);
  /// To be called now and then: loads a file that has changed.
  void poll();

  State state() const { return _state; }
  /// "compiling", "from the cache" and the like.
  std::string stateText() const;
  /// Why the last load failed, or how the composition was lost; empty otherwise.
  const std::string& problem() const { return _problem; }
  bool newProcess() const { return _newProcess; }
  const std::string& file() const { return _file; }
  /// What the file that runs, or ran last, describes; null before the first start.
  const std::shared_ptr<ZQVuoComposition>& composition() const { return _composition; }
  VuoGLScene& scene() const { return *_scene; }
  /// Null while nothing runs.
  const std::shared_ptr<PictureStream>& pictures() const { return _pictures; }

 private:
  void compile();
  void compiled(const VuoCache::Item& item);
  void start();
  void fail(const std::string& problem);
  void noticeStatus();
  void started();
  void notStarted(const std::string& why);
  void lost(const std::string& how);

  const std::shared_ptr<VuoGLScene> _scene;
  bool _newProcess;
  std::string _file;
  std::optional<FileWatch> _watch;
  std::function<void()> _whenStarted;
  std::function<void(const std::string&)> _whenNotStarted;
  State _state = State::Empty;
  std::string _problem;
  bool _isStarting = false;  // what has been compiled; the scene has yet to tell what becomes of it
  bool _fromCache = false;
  std::chrono::steady_clock::time_point _compileStart;
  std::chrono::milliseconds _compileTime{};
  std::shared_ptr<ZQVuoComposition> _composition;
  std::shared_ptr<PictureStream> _pictures;
  // The compile that is awaited; an answer to an earlier one finds it gone.
  std::shared_ptr<void> _awaited;
};

/// What is the matter with a composition that is not what it should be: the first thing that could
/// not be read of it, with its place, or else `otherwise`.
std::string firstProblem(const ZQVuoComposition& composition, const std::string& otherwise);
