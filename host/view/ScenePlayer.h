// A composition that is kept running: loaded, and loaded again when one of its files changes.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "Brannow/VuoGLScene.h"
#include "host/view/FileWatch.h"
#include "host/view/PictureStream.h"

/// For the thread that serves the main queue. Each load has a scene of its own, which takes the
/// place of the one before when its first picture is there, so what runs never halts for it.
class ScenePlayer {
 public:
  enum class State { Empty, Loading, Running, Failed, LostContact };
  using WhenStarted = std::function<void(const ZQBufferRef& firstPicture)>;

  explicit ScenePlayer(bool newProcess);
  /// Unloads the scenes, which a frame that is being made could otherwise keep alive.
  ~ScenePlayer();
  ScenePlayer(const ScenePlayer&) = delete;
  ScenePlayer& operator=(const ScenePlayer&) = delete;

  /// What the first frame of a load is asked for with, where something else still shows.
  void setFirstRequest(std::function<VuoFrameRequest()> firstRequest) {
    _firstRequest = std::move(firstRequest);
  }
  /// Called after each start, with the first picture, which is null when nothing ran before.
  void setWhenStarted(WhenStarted whenStarted) { _whenStarted = std::move(whenStarted); }

  /// Loads in the background. What runs keeps running until the new one is there, and for good when
  /// that does not come up.
  void open(const std::string& file);
  void reload();
  void setNewProcess(bool newProcess);
  /// To be called now and then: notices what has become of a load, and which files have changed.
  void poll();
  /// Unloads everything for good.
  void end();

  State state() const { return _state; }
  /// "loading…", "from the cache" and the like.
  std::string stateText() const;
  /// Why the last load failed, or how the composition was lost; empty otherwise.
  const std::string& problem() const { return _problem; }
  bool newProcess() const { return _newProcess; }
  const std::string& file() const { return _file; }
  /// What the file that runs, or ran last, describes; null before the first start.
  const std::shared_ptr<ZQVuoComposition>& composition() const { return _composition; }
  /// The one that shows.
  VuoGLScene& scene() const { return *_scene; }
  /// Null while nothing runs.
  const std::shared_ptr<PictureStream>& pictures() const { return _pictures; }

 private:
  void load();
  void pollNext();
  void prepareFirstPicture();
  bool isStuck() const;
  void show(const ZQBufferRef& firstPicture);
  void fail(const std::string& problem);
  void dropNext();
  void lost(const std::string& how);

  std::shared_ptr<VuoGLScene> _scene;
  std::shared_ptr<VuoGLScene> _next;             // null when nothing is being loaded
  std::shared_ptr<PictureStream> _nextPictures;  // null until it has come up
  bool _newProcess;
  std::string _file;
  FileWatch _watch;
  std::function<VuoFrameRequest()> _firstRequest = [] { return VuoFrameRequest(); };
  WhenStarted _whenStarted;
  bool _isOutdated = false;  // a file has changed since the last load began
  State _state = State::Empty;
  std::string _problem;
  std::string _howMade;
  std::chrono::steady_clock::time_point _loadStart;
  std::shared_ptr<ZQVuoComposition> _composition;
  std::shared_ptr<PictureStream> _pictures;
};

/// What is the matter with a composition that is not what it should be: the first thing that could
/// not be read of it, with its place, or else `otherwise`.
std::string firstProblem(const ZQVuoComposition& composition, const std::string& otherwise);
