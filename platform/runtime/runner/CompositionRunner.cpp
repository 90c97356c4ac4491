#include "platform/runtime/runner/CompositionRunner.h"

#include <unistd.h>

#include <algorithm>
#include <numeric>
#include <stdexcept>
#include <utility>

namespace vuo {

CompositionRunner::CompositionRunner(const MakeComposition& makeComposition,
                                     std::string fileToDelete)
    : _fileToDelete(std::move(fileToDelete)), _composition(makeComposition(*this)) {
  _atExit.emplace([this] {
    stop();
    waitUntilStopped();
  });
}

CompositionRunner::~CompositionRunner() {
  _atExit.reset();
  setDelegate(nullptr);
  stop();
  waitUntilStopped();
  _composition = nullptr;
  if (!_fileToDelete.empty()) unlink(_fileToDelete.c_str());
}

void CompositionRunner::setDelegate(VuoRunnerDelegate* delegate) {
  std::lock_guard hold(_delegateLock);
  _delegate = delegate;
}

void CompositionRunner::start() {
  std::lock_guard hold(_lifeLock);
  if (_state != State::NotStarted) throw std::runtime_error("The runner was started before");
  const auto portsFor = [](const std::vector<PublishedPort>& published) {
    Ports ports;
    for (const PublishedPort& port : published) ports.push_back(std::make_unique<Port>(port.name));
    return ports;
  };
  const PublishedPorts published = _composition->start();
  _inputs = portsFor(published.inputs);
  _outputs = portsFor(published.outputs);
  _values.resize(_outputs.size());
  State expected = State::NotStarted;
  _state.compare_exchange_strong(expected, State::Running);  // it may be lost already
}

void CompositionRunner::stop() {
  std::lock_guard hold(_lifeLock);
  _state = State::Ended;
  _composition->stop();
}

void CompositionRunner::waitUntilStopped() {
  _composition->waitUntilStopped();
}

VuoRunner::Port* CompositionRunner::getPublishedInputPortWithName(std::string name) {
  requireRunning();
  return portNamed(_inputs, name);
}

VuoRunner::Port* CompositionRunner::getPublishedOutputPortWithName(std::string name) {
  requireRunning();
  return portNamed(_outputs, name);
}

void CompositionRunner::setPublishedInputPortValue(Port* port, json_object* value) {
  requireRunning();
  _composition->setValue(indexOf(_inputs, port), value);
}

void CompositionRunner::firePublishedInputPortEvent(Port* port) {
  requireRunning();
  _composition->fire({indexOf(_inputs, port)});
}

void CompositionRunner::firePublishedInputPortEvent() {
  requireRunning();
  std::vector<std::size_t> all(_inputs.size());
  std::iota(all.begin(), all.end(), std::size_t{0});
  _composition->fire(std::move(all));
}

json_object* CompositionRunner::getPublishedOutputPortValue(Port* port) {
  requireRunning();
  const std::size_t output = indexOf(_outputs, port);
  Value value;
  {
    std::lock_guard hold(_valuesLock);
    value = _values[output];
  }
  return jsonFromValue(value).release();
}

void CompositionRunner::requireRunning() const {
  if (_state == State::NotStarted) throw std::runtime_error("The composition was not started");
  if (_state == State::Ended) throw std::runtime_error("The composition has ended");
}

VuoRunner::Port* CompositionRunner::portNamed(const Ports& ports, const std::string& name) {
  const auto found = std::find_if(ports.begin(), ports.end(),
                                  [&](const auto& port) { return port->getName() == name; });
  return found != ports.end() ? found->get() : nullptr;
}

std::size_t CompositionRunner::indexOf(const Ports& ports, const Port* wanted) {
  const auto found = std::find_if(ports.begin(), ports.end(),
                                  [&](const auto& port) { return port.get() == wanted; });
  if (found == ports.end()) throw std::runtime_error("The port is none of this runner's");
  return static_cast<std::size_t>(found - ports.begin());
}

/// All values of an event are there before the first of its reports is made.
void CompositionRunner::outputsReached(std::vector<OutputReport>& reports) {
  if (!std::exchange(_hasReported, true)) RunningAtExit::driverIsComplete();
  std::vector<std::string> summaries;
  for (const OutputReport& report : reports)
    summaries.push_back(report.sentData ? summary(report.value) : "");
  keepValues(reports);
  for (std::size_t i = 0; i < reports.size(); ++i)
    tellDelegate([&](VuoRunnerDelegate& delegate) {
      delegate.receivedTelemetryPublishedOutputPortUpdated(_outputs[reports[i].output].get(),
                                                           reports[i].sentData, summaries[i]);
    });
}

/// The former values leave in the reports, to be given up without the lock.
void CompositionRunner::keepValues(std::vector<OutputReport>& reports) {
  std::lock_guard hold(_valuesLock);
  for (OutputReport& report : reports)
    if (report.sentData) std::swap(_values[report.output], report.value);
}

void CompositionRunner::eventDropped(std::size_t input) {
  tellDelegate([&](VuoRunnerDelegate& delegate) {
    delegate.receivedTelemetryEventDropped(_inputs[input].get());
  });
}

void CompositionRunner::failed(const std::string& message) {
  tellDelegate([&](VuoRunnerDelegate& delegate) { delegate.receivedTelemetryError(message); });
}

void CompositionRunner::contactLost() {
  _state = State::Ended;
  tellDelegate([](VuoRunnerDelegate& delegate) { delegate.lostContactWithComposition(); });
}

template <typename Call>
void CompositionRunner::tellDelegate(Call call) {
  std::lock_guard hold(_delegateLock);
  if (_delegate != nullptr) call(*_delegate);
}

}  // namespace vuo
