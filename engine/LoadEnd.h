#pragma once

#include <memory>
#include <string>

#include "Brannow/VuoGLScene.h"
#include "platform/system/Mutex.h"

/// The wait for a load's end, while another thread serves the main queue.
class LoadEnd {
 public:
  /// Loads `file` and returns what became of it.
  static VuoSceneStatus of(VuoGLScene& scene, const std::string& file) {
    const auto end = std::make_shared<LoadEnd>();
    scene.setStatusHandler([end](const VuoSceneStatus&) { end->wake(); });
    scene.useFile(file);
    end->wait(scene);
    scene.setStatusHandler({});
    return scene.status();
  }

  void wake() {
    platform::LockGuard hold(_lock);
    _changes++;
    _changed.notify_all();
  }

 private:
  void wait(const VuoGLScene& scene) {
    platform::UniqueLock hold(_lock);
    for (;;) {
      const int seen = _changes;
      hold.unlock();
      const bool isLoading = scene.status().state == VuoSceneStatus::State::Loading;
      hold.lock();
      if (!isLoading) return;
      while (_changes == seen) _changed.wait(hold);
    }
  }

  platform::Mutex _lock;  // nothing is taken under it
  platform::ConditionVariable _changed;
  int _changes GUARDED_BY(_lock) = 0;
};
