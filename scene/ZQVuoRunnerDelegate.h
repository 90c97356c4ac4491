#pragma once

#include <memory>

#include "Brannow/VuoGLSceneProtocol.h"
#include "platform/hostbase/ObjectHolder.h"
#include "runtime/VuoRunnerDelegate.h"

/// Carries a runner's reports to a scene, or to what stands for it with this runner, which it does
/// not keep alive. Belongs to the scene, and is destroyed only after its runner.
class ZQVuoRunnerDelegate : public VuoRunnerDelegateAdapter {
 public:
  explicit ZQVuoRunnerDelegate(const std::shared_ptr<VuoGLSceneProtocol>& scene);

  void receivedTelemetryPublishedOutputPortUpdated(VuoRunner::Port* port, bool sentData,
                                                   std::string dataSummary) override;
  /// Handled on the main queue, 10 microseconds later.
  void lostContactWithComposition() override;

 private:
  using SceneHolder = ObjectHolder<VuoGLSceneProtocol>;
  std::shared_ptr<SceneHolder> _sceneHolder;
};
