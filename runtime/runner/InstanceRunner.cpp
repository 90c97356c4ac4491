#include "runtime/runner/InstanceRunner.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "platform/system/SystemLog.h"
#include "platform/system/WithMemory.h"

namespace vuo {
namespace {

constexpr std::size_t mostWarningsLogged = 100;

std::vector<std::string> namesOf(const std::vector<PublishedPort>& published) {
  std::vector<std::string> names;
  for (const PublishedPort& port : published) names.push_back(port.name);
  return names;
}

std::vector<std::unique_ptr<VuoRunner::Port>> portsNamed(const std::vector<std::string>& names) {
  std::vector<std::unique_ptr<VuoRunner::Port>> ports;
  for (const std::string& name : names) ports.push_back(std::make_unique<VuoRunner::Port>(name));
  return ports;
}

std::unique_ptr<TextFile> textFileOf(const PublishedPorts& published) {
  if (!published.textFile) return nullptr;
  return std::make_unique<TextFile>(published.textFile->folder, published.textFile->name);
}

std::string asText(std::chrono::nanoseconds time) {
  const double seconds = std::round(std::chrono::duration<double>(time).count() * 10) / 10;
  std::ostringstream text;
  text << seconds << " s";
  return text.str();
}

}  // namespace

InstanceRunner::InstanceRunner(const PublishedPorts& published, const MakeInstance& makeInstance,
                               std::string fileToDelete)
    : _fileToDelete(std::move(fileToDelete)),
      _inputs(portsNamed(namesOf(published.inputs))),
      _outputs(portsNamed(namesOf(published.outputs))),
      _textInput(published.textFile ? published.textFile->input : 0),
      _textFile(textFileOf(published)),
      _current(_outputs.size()),
      _outputNames(std::make_shared<const std::vector<std::string>>(namesOf(published.outputs))),
      _events(std::make_shared<OpenEvents>([this](auto waited) { isOverdue(waited); })),
      _instance(makeInstance(*this)),
      _cancelling(new Cancelling{{}, _instance.get(), _events}) {
  _events->setPatience(defaultPatience);
  _atExit.emplace([this] {
    stop();
    waitUntilStopped();
  });
}

InstanceRunner::~InstanceRunner() {
  _atExit.reset();
  setDelegate(nullptr);
  _events->stopWatching();
  stop();
  waitUntilStopped();
  {
    platform::LockGuard hold(_cancelling->lock);
    _cancelling->instance = nullptr;
  }
  _instance = nullptr;
  if (!_fileToDelete.empty()) unlink(_fileToDelete.c_str());
}

void InstanceRunner::setDelegate(VuoRunnerDelegate* delegate) {
  platform::LockGuard hold(_delegateLock);
  _delegate = delegate;
}

void InstanceRunner::setWatcher(std::weak_ptr<Watcher> watcher) {
  platform::LockGuard hold(_lifeLock);
  _watcher = std::move(watcher);
}

void InstanceRunner::setPatience(Patience patience) {
  _events->setPatience(patience);
}

/// One that can't even be asked for is lost like one that does not come up. Where there is no
/// memory for it, nor perhaps for telling, the caller hears of that.
void InstanceRunner::start() {
  std::optional<std::string> fault;
  {
    platform::LockGuard hold(_lifeLock);
    State expected = State::NotStarted;
    if (!_state.compare_exchange_strong(expected, State::Running))
      throw std::runtime_error("The runner was started before");
    try {
      _events->starting();
      fault = faultOfStart();
    } catch (const std::bad_alloc&) {
      _state = State::Ended;
      _events->end("");
      throw;
    }
  }
  if (fault) contactLost(*fault);
}

std::optional<std::string> InstanceRunner::faultOfStart() try {
  _instance->start();
  return std::nullopt;
} catch (const std::bad_alloc&) {
  throw;
} catch (const std::exception& raised) {
  return raised.what();
}

void InstanceRunner::stop() {
  platform::LockGuard hold(_lifeLock);
  _state = State::Ended;
  _instance->stop();
  _events->end("");
}

void InstanceRunner::waitUntilStopped() {
  _instance->waitUntilStopped();
}

VuoRunner::Port* InstanceRunner::getPublishedInputPortWithName(std::string name) {
  requireRunning();
  return portNamed(_inputs, name);
}

VuoRunner::Port* InstanceRunner::getPublishedOutputPortWithName(std::string name) {
  requireRunning();
  return portNamed(_outputs, name);
}

void InstanceRunner::setPublishedInputPortValue(Port* port, json_object* value) {
  requireRunning();
  const std::size_t input = indexOf(_inputs, port);
  if (_textFile && input == _textInput)
    _textFile->choose(std::get<std::string>(valueFromJson(Type::Text, value)));
  else
    _instance->setValue(input, value);
}

/// What has become of the text file goes with the event, which then enters at its input too.
void InstanceRunner::takeText(std::vector<std::size_t>& inputs) {
  const auto change = _textFile ? _textFile->popChange() : std::nullopt;
  if (!change) return;
  if (!change->fault.empty())
    warned("\"" + _inputs[_textInput]->getName() + "\": " + change->fault);
  if (!change->text) return;
  _instance->setValue(_textInput, jsonFromValue(*change->text).get());
  if (std::find(inputs.begin(), inputs.end(), _textInput) == inputs.end())
    inputs.push_back(_textInput);
}

void InstanceRunner::firePublishedInputPortEvent(Port* port) {
  requireRunning();
  fire({indexOf(_inputs, port)});
}

void InstanceRunner::firePublishedInputPortEvent() {
  requireRunning();
  fire(allInputs());
}

/// An event that comes too late is ended like those that waited.
std::shared_ptr<VuoRunner::Event> InstanceRunner::firePublishedInputPortEvent(EventTag tag) {
  if (_state == State::NotStarted) requireRunning();
  const auto event = _events->begin(tag);
  if (_state == State::Ended) return std::make_shared<EventHandle>(event, _cancelling);
  try {
    std::vector<std::size_t> inputs = allInputs();
    takeText(inputs);
    if (!_instance->fire(std::move(inputs), event->number, true)) drop(event->number);
  } catch (...) {
    _events->finish(event->number);
    throw;
  }
  return std::make_shared<EventHandle>(event, _cancelling);
}

void InstanceRunner::fire(std::vector<std::size_t> inputs) {
  const EventNumber number = _events->begin();
  try {
    takeText(inputs);
    if (!_instance->fire(std::move(inputs), number, false)) drop(number);
  } catch (...) {
    _events->finish(number);
    throw;
  }
}

void InstanceRunner::drop(EventNumber number) {
  if (const auto event = _events->finish(number).event) event->dropped();
}

std::vector<std::size_t> InstanceRunner::allInputs() const {
  std::vector<std::size_t> all(_inputs.size());
  std::iota(all.begin(), all.end(), std::size_t{0});
  return all;
}

std::optional<std::chrono::steady_clock::time_point> InstanceRunner::oldestEventSince() const {
  return _events->oldestTaggedSince();
}

std::shared_ptr<const VuoRunner::Outputs> InstanceRunner::getPublishedOutputs() const {
  requireRunning();
  return snapshot();
}

std::string InstanceRunner::lossDescription() const {
  platform::LockGuard hold(_valuesLock);
  return _loss;
}

json_object* InstanceRunner::getPublishedOutputPortValue(Port* port) {
  requireRunning();
  const std::size_t output = indexOf(_outputs, port);
  Value value;
  {
    platform::LockGuard hold(_valuesLock);
    value = _current[output].value;
  }
  return jsonFromValue(value).release();
}

void InstanceRunner::requireRunning() const {
  if (_state == State::NotStarted) throw std::runtime_error("The composition was not started");
  if (_state == State::Ended) throw std::runtime_error("The composition has ended");
}

VuoRunner::Port* InstanceRunner::portNamed(const Ports& ports, const std::string& name) {
  const auto found = std::find_if(ports.begin(), ports.end(),
                                  [&](const auto& port) { return port->getName() == name; });
  return found != ports.end() ? found->get() : nullptr;
}

std::size_t InstanceRunner::indexOf(const Ports& ports, const Port* wanted) {
  const auto found = std::find_if(ports.begin(), ports.end(),
                                  [&](const auto& port) { return port.get() == wanted; });
  if (found == ports.end()) throw std::runtime_error("The port is none of this runner's");
  return static_cast<std::size_t>(found - ports.begin());
}

void InstanceRunner::started() {
  _events->started();
  tellWatcher([](Watcher& watcher) { watcher.cameUp(); });
}

/// All values of an event are there before anybody hears of it.
void InstanceRunner::eventFinished(EventReport& report) {
  const bool wasRun = report.outcome == EventReport::Outcome::Run;
  if (wasRun && !std::exchange(_hasReported, true)) RunningAtExit::driverIsComplete();
  std::vector<std::string> summaries;
  bool wasOverdue = false;
  std::shared_ptr<PendingEvent> event;
  try {
    for (const OutputReport& output : report.outputs)
      summaries.push_back(output.sentData ? summary(output.value) : "");
    OpenEvents::Finished finished = _events->finish(report.event);
    event = std::move(finished.event);
    wasOverdue = finished.wasOverdue;
    keepValues(report, event ? event->tag : EventTag());
    if (event && wasRun)
      event->done(event->givenUp ? nullptr : snapshot());
    else if (event)
      event->dropped();
  } catch (const std::exception&) {  // there is no memory left: nobody is to wait for it
    if (event)
      event->dropped();
    else
      drop(report.event);
    throw;
  }
  for (std::size_t i = 0; i < report.outputs.size(); ++i)
    tellDelegate([&](VuoRunnerDelegate& delegate) {
      delegate.receivedTelemetryPublishedOutputPortUpdated(
          _outputs[report.outputs[i].output].get(), report.outputs[i].sentData, summaries[i]);
    });
  if (wasOverdue)
    _events->afterOverdue([&] { tellWatcher([](Watcher& watcher) { watcher.hasCaughtUp(); }); });
}

/// The former values leave in the report, to be given up without the lock.
void InstanceRunner::keepValues(EventReport& report, EventTag tag) {
  platform::LockGuard hold(_valuesLock);
  for (OutputReport& output : report.outputs) {
    OutputState& current = _current[output.output];
    if (!output.sentData && output.fault.empty()) continue;
    current.fault = output.fault;
    if (!output.sentData) continue;
    std::swap(current.value, output.value);
    current.madeBy = tag;
  }
}

std::shared_ptr<const VuoRunner::Outputs> InstanceRunner::snapshot() const {
  platform::LockGuard hold(_valuesLock);
  return std::make_shared<OutputSnapshot>(_outputNames, _current);
}

/// What can't be ended is told of.
void InstanceRunner::isOverdue(OpenEvents::Clock::duration waited) {
  if (!_instance->giveUp("it was not done with an event, or with coming up, for " + asText(waited)))
    tellWatcher([&](Watcher& watcher) { watcher.isOverdue(waited); });
}

void InstanceRunner::eventDropped(std::size_t input) {
  tellDelegate([&](VuoRunnerDelegate& delegate) {
    delegate.receivedTelemetryEventDropped(_inputs[input].get());
  });
}

void InstanceRunner::failed(const std::string& message) {
  tellDelegate([&](VuoRunnerDelegate& delegate) { delegate.receivedTelemetryError(message); });
}

/// Nobody in the host is told of these, so they go to the log, as many as anybody reads.
void InstanceRunner::warned(const std::string& message) {
  if (++_warnings <= mostWarningsLogged) platform::systemLog("\t\twarning: %s", {message});
}

/// Waits for memory with no lock held and only for telling, of which it can be relieved; without
/// any, the reason goes untold.
void InstanceRunner::contactLost(const std::string& how) {
  const auto copy = [&] { return how; };
  std::string loss = platform::orNothing(copy), told = platform::orNothing(copy);
  {
    platform::LockGuard hold(_valuesLock);
    if (_state == State::Ended) return;
    _loss = std::move(loss);  // there for whoever finds that it has ended
    _state = State::Ended;
  }
  _events->end(std::move(told));
  platform::withMemory([&] {
    tellDelegate([](VuoRunnerDelegate& delegate) { delegate.lostContactWithComposition(); });
  });
}

template <typename Call>
void InstanceRunner::tellDelegate(Call call) {
  platform::LockGuard hold(_delegateLock);
  if (_delegate != nullptr) call(*_delegate);
}

template <typename Call>
void InstanceRunner::tellWatcher(Call call) {
  if (const auto watcher = _watcher.lock()) call(*watcher);
}

}  // namespace vuo
