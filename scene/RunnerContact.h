#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "scene/VuoGLSceneState.h"

/// The scene as one of its runners knows it. What the runner reports goes on to the scene, which is
/// not kept alive; that contact was lost goes on with whose it was. Goes with its runner.
class VuoGLScene::State::RunnerContact : public VuoGLSceneProtocol,
                                         public VuoRunner::Watcher,
                                         public std::enable_shared_from_this<RunnerContact> {
 public:
  RunnerContact(std::weak_ptr<VuoGLScene> scene, std::weak_ptr<VuoRunner> runner,
                std::uint64_t forLoad, Path file);

  void runnerDelegateReceivedValForOutputKey(const Key& key) override;
  void runnerDelegateReceivedEventForOutputKey(const Key& key) override;
  void runnerDelegateLostContactWithComposition() override;

  void cameUp() override;
  void isOverdue(std::chrono::nanoseconds waited) override;
  void hasCaughtUp() override;

  /// The runner has been installed in the scene.
  void installed();
  bool hasComeUp() const { return _progress & kCameUp; }
  std::string lossDescription() const;

  /// The load that the runner belongs to. Changed under the scene's `runnerLock` only.
  std::atomic<std::uint64_t> load;
  bool lost = false;  ///< guarded by the scene's `runnerLock`

 private:
  static constexpr unsigned kCameUp = 1, kInstalled = 2;
  void isRunning();
  void tellRunning(std::string message);

  const std::weak_ptr<VuoGLScene> _scene;
  const std::weak_ptr<VuoRunner> _runner;
  const Path _file;
  std::atomic<unsigned> _progress{0};
};
