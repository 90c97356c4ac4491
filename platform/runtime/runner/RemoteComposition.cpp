#include "platform/runtime/runner/RemoteComposition.h"

#include <json-c/json.h>
#include <pthread.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "platform/runtime/HelperFolder.h"
#include "platform/runtime/ImagePixels.h"
#include "platform/runtime/transport/Protocol.h"

namespace vuo {
namespace {

constexpr std::chrono::milliseconds startPatience{10000};
constexpr std::chrono::milliseconds sendPatience{50};
constexpr std::chrono::milliseconds stopPatience{1000};

[[noreturn]] void gone() {
  throw std::runtime_error("The composition's process is gone");
}

PublishedPort portFromJson(json_object* pair) {
  const auto text = [&](std::size_t index) {
    json_object* value = json_object_array_get_idx(pair, index);
    return std::string(json_object_get_string(value),
                       static_cast<std::size_t>(json_object_get_string_len(value)));
  };
  const auto type = typeNamed(text(1));
  if (!type) throw std::runtime_error("The player has a port of an unknown type");
  return {text(0), *type};
}

std::vector<PublishedPort> portsFromJson(json_object* list) {
  std::vector<PublishedPort> ports;
  for (std::size_t i = 0; i < json_object_array_length(list); ++i)
    ports.push_back(portFromJson(json_object_array_get_idx(list, i)));
  return ports;
}

EventReport::Outcome outcomeIn(json_object* message) {
  const std::uint64_t outcome = numberIn(message, "outcome");
  if (outcome > static_cast<std::uint64_t>(EventReport::Outcome::Cancelled))
    throw std::runtime_error("The player reports an outcome that there is not");
  return static_cast<EventReport::Outcome>(outcome);
}

JsonOwner pairOf(std::size_t input, JsonOwner value) {
  JsonOwner pair = newArray();
  append(pair.get(), newNumber(input));
  append(pair.get(), std::move(value));
  return pair;
}

}  // namespace

RemoteComposition::RemoteComposition(FileDescriptor artefact, std::vector<std::string> arguments,
                                     CompositionListener& listener)
    : _artefact(std::move(artefact)), _arguments(std::move(arguments)), _listener(listener) {}

RemoteComposition::~RemoteComposition() {
  stop();
  waitUntilStopped();
}

PublishedPorts RemoteComposition::start() {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
    throw std::runtime_error(std::string("No socket for the player: ") + std::strerror(errno));
  _socket = std::make_unique<MessageSocket>(FileDescriptor(ends[0]));
  {
    const FileDescriptor playersEnd(ends[1]);  // closed here, so that its end is noticed
    _process = std::make_unique<ChildProcess>(helperFolder() + "/vuo-player", _arguments,
                                              std::vector<int>{playersEnd.get(), _artefact.get()});
  }
  try {
    _ports = awaitReady();
  } catch (...) {
    _process->kill();
    throw;
  }
  _reader = std::thread(&RemoteComposition::takeReports, this);
  return _ports;
}

PublishedPorts RemoteComposition::awaitReady() {
  const auto message = _socket->receive(startPatience);
  if (!message) throw std::runtime_error("The player did not start");
  json_object* body = message->body.get();
  if (kindOf(body) != "ready") throw std::runtime_error(textIn(body, "message"));
  return {portsFromJson(arrayIn(body, "inputs")), portsFromJson(arrayIn(body, "outputs"))};
}

/// Images travel at once, since their pixels are the host's to change afterwards.
void RemoteComposition::setValue(std::size_t input, json_object* value) {
  if (_gone) gone();
  if (_ports.inputs.at(input).type == Type::Image && value != nullptr)
    return sendImage(input, value);
  std::lock_guard hold(_valuesLock);
  _values[input] = valueFromJson(_ports.inputs.at(input).type, value);
}

void RemoteComposition::sendImage(std::size_t input, json_object* value) {
  const Value image = valueFromJson(Type::Image, value);
  const VuoImage picture = std::get<ImageRef>(image).get();
  JsonOwner withPixels;
  if (pixelsOfImageValue(value) == nullptr) {
    withPixels.reset(VuoImage_getInterprocessJson(picture));
    value = withPixels.get();
  }
  const SharedMemory* pixels = pixelsOfImageValue(value);
  if (pixels == nullptr) throw std::runtime_error("The image's texture can't be read");
  const JsonOwner message = newMessage("image");
  add(message.get(), "input", input);
  add(message.get(), "width", picture->pixelsWide);
  add(message.get(), "height", picture->pixelsHigh);
  std::lock_guard hold(_valuesLock);
  _values.erase(input);
  send(message.get(), pixels->descriptor());
}

void RemoteComposition::fire(std::vector<std::size_t> inputs, EventNumber number) {
  std::lock_guard hold(_valuesLock);
  JsonOwner values = newArray(), fired = newArray();
  for (const auto& [input, value] : _values)
    append(values.get(), pairOf(input, jsonFromValue(value)));
  _values.clear();
  for (const std::size_t input : inputs) append(fired.get(), newNumber(input));
  const JsonOwner message = newMessage("event");
  add(message.get(), "event", number);
  add(message.get(), "values", std::move(values));
  add(message.get(), "inputs", std::move(fired));
  send(message.get(), -1);
}

void RemoteComposition::cancel(EventNumber number) {
  const JsonOwner message = newMessage("cancel");
  add(message.get(), "event", number);
  send(message.get(), -1);
}

/// Whatever ends the player makes the reader's socket end, and the reader tells of it.
void RemoteComposition::send(json_object* message, int descriptor) {
  if (_socket->send(message, descriptor, sendPatience)) return;
  _process->kill();
  gone();
}

void RemoteComposition::takeReports() {
  pthread_setname_np(pthread_self(), "vuo reports");
  {
    FrameReceiver frames(*_socket);
    while (auto message = _socket->receive(std::nullopt)) try {
        take(std::move(*message), frames);
      } catch (const std::exception& fault) {
        _listener.failed(fault.what());
      }
  }
  _gone = true;
  if (_stopping) return;
  _listener.contactLost(endDescription(_process->waitAtMost(std::chrono::milliseconds(0))));
}

void RemoteComposition::take(Message message, FrameReceiver& frames) {
  if (frames.take(message)) return;
  json_object* body = message.body.get();
  const std::string kind = kindOf(body);
  if (kind == "failed") _listener.failed(textIn(body, "message"));
  if (kind == "dropped") _listener.eventDropped(numberIn(body, "input"));
  if (kind != "outputs") return;
  EventReport report = reportIn(body, frames);
  if (report.event != 0 || !report.outputs.empty()) _listener.eventFinished(report);
}

EventReport RemoteComposition::reportIn(json_object* message, FrameReceiver& frames) const {
  EventReport report{numberIn(message, "event"), outcomeIn(message), {}};
  json_object* list = arrayIn(message, "reports");
  for (std::size_t i = 0; i < json_object_array_length(list); ++i) {
    json_object* body = json_object_array_get_idx(list, i);
    try {
      report.outputs.push_back(outputReportIn(body, frames));
    } catch (const std::exception& fault) {
      _listener.failed(fault.what());  // the others' frames are still to be handed back
    }
  }
  return report;
}

OutputReport RemoteComposition::outputReportIn(json_object* body, FrameReceiver& frames) const {
  OutputReport report;
  report.output = numberIn(body, "output");
  const Type type = _ports.outputs.at(report.output).type;
  if (valueIn(body, "fault") != nullptr) report.fault = textIn(body, "fault");
  try {
    if (json_object* frame = valueIn(body, "frame"))
      report.value = frames.receive(frame);
    else if (json_object_object_get_ex(body, "value", nullptr))
      report.value = valueFromJson(type, valueIn(body, "value"));
  } catch (const std::exception& fault) {
    _listener.failed(fault.what());
    report.fault = fault.what();
  }
  report.sentData = report.value.index() != 0;
  return report;
}

/// The player ends when it is told to or when its socket ends, so the message may get lost.
void RemoteComposition::stop() {
  if (!_socket || _stopping.exchange(true)) return;
  _socket->send(newMessage("stop").get(), -1, std::chrono::milliseconds(0));
  _socket->shutDown();
}

void RemoteComposition::waitUntilStopped() {
  std::lock_guard hold(_endLock);
  if (_process) _process->waitAtMost(stopPatience);
  if (_reader.joinable()) _reader.join();
}

}  // namespace vuo
