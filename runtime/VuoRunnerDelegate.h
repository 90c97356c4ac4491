// What a runner reports while its composition runs.
#pragma once

#include <string>

#include "runtime/VuoRunner.h"

/// Called on the runtime's threads, one call at a time per runner.
class VuoRunnerDelegate {
 public:
  virtual ~VuoRunnerDelegate() = default;
  /// A published output was reached by an event; `sentData` tells whether data came with it.
  virtual void receivedTelemetryPublishedOutputPortUpdated(VuoRunner::Port* port, bool sentData,
                                                           std::string dataSummary) = 0;
  /// An event was dropped because the composition lags too far behind the events fired into it. An
  /// event into several ports is reported for each of them.
  virtual void receivedTelemetryEventDropped(VuoRunner::Port* port) = 0;
  /// A node could not do its work; the composition goes on.
  virtual void receivedTelemetryError(std::string message) = 0;
  /// The composition did not come up, or it is gone without having been asked to stop. Once;
  /// perhaps before `start` has returned. Told again when it raises std::bad_alloc.
  virtual void lostContactWithComposition() = 0;
};

/// Every callback with an empty body.
class VuoRunnerDelegateAdapter : public VuoRunnerDelegate {
 public:
  void receivedTelemetryPublishedOutputPortUpdated(VuoRunner::Port*, bool, std::string) override {}
  void receivedTelemetryEventDropped(VuoRunner::Port*) override {}
  void receivedTelemetryError(std::string) override {}
  void lostContactWithComposition() override {}
};
