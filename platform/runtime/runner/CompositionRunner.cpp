#include "platform/runtime/runner/CompositionRunner.h"

#include <unistd.h>

#include <algorithm>
#include <numeric>
#include <stdexcept>
#include <utility>

namespace vuo {

CompositionRunner::CompositionRunner(const MakeComposition& makeComposition,
                                     std::string fileToDelete)
    : _fileToDelete(std::move(fileToDelete)),
      _composition(makeComposition(*this)),
      _cancelling(new Cancelling{{}, _composition.get()}) {
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
  {
    std::lock_guard hold(_cancelling->lock);
    _cancelling->composition = nullptr;
  }
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
  auto names = std::make_shared<std::vector<std::string>>();
  for (const PublishedPort& port : published.outputs) names->push_back(port.name);
  _outputNames = std::move(names);
  _current.resize(_outputs.size());
  State expected = State::NotStarted;
  _state.compare_exchange_strong(expected, State::Running);  // it may be lost already
}

void CompositionRunner::stop() {
  std::lock_guard hold(_lifeLock);
  _state = State::Ended;
  _composition->stop();
  endPending();
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
  _composition->fire({indexOf(_inputs, port)}, 0, false);
}

void CompositionRunner::firePublishedInputPortEvent() {
  requireRunning();
  _composition->fire(allInputs(), 0, false);
}

/// Known before it is fired, since it may be finished before `fire` returns.
std::shared_ptr<VuoRunner::Event> CompositionRunner::firePublishedInputPortEvent(EventTag tag) {
  requireRunning();
  const auto event = std::make_shared<PendingEvent>(tag);
  {
    std::lock_guard hold(_pendingLock);
    _pending.emplace(tag.number, event);
  }
  try {
    requireRunning();  // or nobody would end it any more
    _composition->fire(allInputs(), tag.number, true);
  } catch (...) {
    takePending(tag.number);
    throw;
  }
  return std::make_shared<EventHandle>(event, _cancelling);
}

std::vector<std::size_t> CompositionRunner::allInputs() const {
  std::vector<std::size_t> all(_inputs.size());
  std::iota(all.begin(), all.end(), std::size_t{0});
  return all;
}

std::optional<std::chrono::steady_clock::time_point> CompositionRunner::oldestEventSince() const {
  std::lock_guard hold(_pendingLock);
  if (_pending.empty()) return std::nullopt;
  return _pending.begin()->second->since;
}

std::shared_ptr<const VuoRunner::Outputs> CompositionRunner::getPublishedOutputs() const {
  requireRunning();
  return snapshot();
}

std::string CompositionRunner::lossDescription() const {
  std::lock_guard hold(_pendingLock);
  return _loss;
}

json_object* CompositionRunner::getPublishedOutputPortValue(Port* port) {
  requireRunning();
  const std::size_t output = indexOf(_outputs, port);
  Value value;
  {
    std::lock_guard hold(_valuesLock);
    value = _current[output].value;
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

/// All values of an event are there before anybody hears of it.
void CompositionRunner::eventFinished(EventReport& report) {
  if (!std::exchange(_hasReported, true)) RunningAtExit::driverIsComplete();
  std::vector<std::string> summaries;
  for (const OutputReport& output : report.outputs)
    summaries.push_back(output.sentData ? summary(output.value) : "");
  const auto event = takePending(report.event);
  keepValues(report, event ? event->tag : EventTag());
  if (event && report.outcome == EventReport::Outcome::Run)
    event->done(event->givenUp ? nullptr : snapshot());
  else if (event)
    event->dropped();
  for (std::size_t i = 0; i < report.outputs.size(); ++i)
    tellDelegate([&](VuoRunnerDelegate& delegate) {
      delegate.receivedTelemetryPublishedOutputPortUpdated(
          _outputs[report.outputs[i].output].get(), report.outputs[i].sentData, summaries[i]);
    });
}

std::shared_ptr<PendingEvent> CompositionRunner::takePending(EventNumber number) {
  std::lock_guard hold(_pendingLock);
  const auto found = _pending.find(number);
  if (found == _pending.end()) return nullptr;
  const auto event = std::move(found->second);
  _pending.erase(found);
  return event;
}

/// The former values leave in the report, to be given up without the lock.
void CompositionRunner::keepValues(EventReport& report, EventTag tag) {
  std::lock_guard hold(_valuesLock);
  for (OutputReport& output : report.outputs) {
    OutputState& current = _current[output.output];
    if (!output.sentData && output.fault.empty()) continue;
    current.fault = output.fault;
    if (!output.sentData) continue;
    std::swap(current.value, output.value);
    current.madeBy = tag;
  }
}

std::shared_ptr<const VuoRunner::Outputs> CompositionRunner::snapshot() const {
  std::lock_guard hold(_valuesLock);
  return std::make_shared<OutputSnapshot>(_outputNames, _current);
}

void CompositionRunner::endPending() {
  std::map<EventNumber, std::shared_ptr<PendingEvent>> pending;
  std::string how;
  {
    std::lock_guard hold(_pendingLock);
    pending.swap(_pending);
    how = _loss;
  }
  for (const auto& [number, event] : pending) event->ended(how);
}

void CompositionRunner::eventDropped(std::size_t input) {
  tellDelegate([&](VuoRunnerDelegate& delegate) {
    delegate.receivedTelemetryEventDropped(_inputs[input].get());
  });
}

void CompositionRunner::failed(const std::string& message) {
  tellDelegate([&](VuoRunnerDelegate& delegate) { delegate.receivedTelemetryError(message); });
}

void CompositionRunner::contactLost(const std::string& how) {
  _state = State::Ended;
  {
    std::lock_guard hold(_pendingLock);
    _loss = how;
  }
  endPending();
  tellDelegate([](VuoRunnerDelegate& delegate) { delegate.lostContactWithComposition(); });
}

template <typename Call>
void CompositionRunner::tellDelegate(Call call) {
  std::lock_guard hold(_delegateLock);
  if (_delegate != nullptr) call(*_delegate);
}

}  // namespace vuo
