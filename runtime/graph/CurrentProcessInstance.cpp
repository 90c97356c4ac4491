#include "runtime/graph/CurrentProcessInstance.h"

#include <pthread.h>

#include <stdexcept>

#include "platform/system/WithMemory.h"
#include "runtime/graph/Execution.h"

namespace vuo {

CurrentProcessInstance::CurrentProcessInstance(Plan plan, std::string folder,
                                               InstanceListener& listener, PictureSource* forHost)
    : _plan(std::move(plan)), _folder(std::move(folder)), _listener(listener), _forHost(forHost) {}

CurrentProcessInstance::~CurrentProcessInstance() {
  stop();
  waitUntilStopped();
}

void CurrentProcessInstance::start() {
  platform::LockGuard hold(_joinLock);
  _thread = std::thread(&CurrentProcessInstance::live, this);
}

void CurrentProcessInstance::live() {
  pthread_setname_np(pthread_self(), "vuo composition");
  try {
    play();
  } catch (const std::exception& fault) {  // serving events throws nothing
    platform::withMemory([&] { _listener.contactLost(fault.what()); });
  }
  _end.set_value();
}

void CurrentProcessInstance::play() {
  const auto group = ShareGroup::current();
  const auto context = group->createContext();
  const platform::GLCurrent current(*context);
  if (!current) throw std::runtime_error("The OpenGL context can't be used on this thread");
  Execution execution(_plan, _folder, group, _listener, _forHost);
  _listener.started();
  serveEvents(execution);
}

void CurrentProcessInstance::serveEvents(Execution& execution) {
  while (auto work = _queue.next()) try {
      for (const auto& [input, count] : work->drops)
        for (std::size_t i = 0; i < count; ++i) _listener.eventDropped(input);
      if (work->event) runEvent(execution, std::move(*work->event));
    } catch (const std::exception& fault) {
      tellOf(fault);
    }
}

/// The event's end is reported whatever happens in it.
void CurrentProcessInstance::runEvent(Execution& execution, Event event) {
  EventReport report{event.number, EventReport::Outcome::Run, {}};
  try {
    report = execution.run(std::move(event));
  } catch (const std::exception& fault) {
    tellOf(fault);
  }
  _listener.eventFinished(report);
}

/// That there is no memory to tell it changes nothing.
void CurrentProcessInstance::tellOf(const std::exception& fault) {
  try {
    _listener.failed(fault.what());
  } catch (const std::exception&) {
    // It is told by what is missing.
  }
}

void CurrentProcessInstance::setValue(std::size_t input, json_object* value) {
  setValue(input, valueFromJson(_plan.publishedInputs.at(input).type, value));
}

void CurrentProcessInstance::setValue(std::size_t input, Value value) {
  _queue.set(input, std::move(value));
}

bool CurrentProcessInstance::fire(std::vector<std::size_t> inputs, EventNumber number, bool asked) {
  return _queue.fire(std::move(inputs), number, asked);
}

bool CurrentProcessInstance::cancel(EventNumber number) {
  return _queue.cancel(number);
}

void CurrentProcessInstance::stop() {
  _queue.end();
}

void CurrentProcessInstance::waitUntilStopped() {
  platform::LockGuard hold(_joinLock);
  if (_thread.joinable()) _thread.join();
}

bool CurrentProcessInstance::hasStoppedWithin(std::chrono::milliseconds patience) {
  return _ended.wait_for(patience) == std::future_status::ready;
}

}  // namespace vuo
