#include "platform/runtime/runner/RemoteComposition.h"

#include <fcntl.h>
#include <json-c/json.h>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <system_error>

#include "platform/runtime/HelperFolder.h"
#include "platform/runtime/ImagePixels.h"
#include "platform/runtime/transport/Protocol.h"
#include "platform/system/Dispatch.h"

namespace vuo {
namespace {

/// The one who asks for a start, often the thread of a user interface, has a few calls to make yet.
/// With few processors the new process would take the one that these run on.
constexpr std::chrono::microseconds startDelay{300};
/// Of a caller, whose messages are small and only begun when there is room for them.
constexpr std::chrono::milliseconds callersPatience{50};
/// For a message that has been begun, in either direction.
constexpr std::chrono::milliseconds messagePatience{10000};
constexpr std::chrono::milliseconds stopPatience{1000};
/// For what a process has said before its end.
constexpr std::chrono::milliseconds lastWordsPatience{100};

/// Of texts in an event that a caller sends by itself, in bytes; far less than a socket has room
/// for.
constexpr std::size_t mostText = 8 << 10;

[[noreturn]] void gone() {
  throw std::runtime_error("The composition's process is gone");
}

/// The player can't play its composition.
struct Refusal : std::runtime_error {
  using std::runtime_error::runtime_error;
};

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
                                     PublishedPorts ports, CompositionListener& listener)
    : _artefact(std::move(artefact)),
      _arguments(std::move(arguments)),
      _ports(std::move(ports)),
      _listener(listener),
      _wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) return;
  _socket = std::make_unique<MessageSocket>(FileDescriptor(ends[0]));
  _playersEnd = FileDescriptor(ends[1]);
}

RemoteComposition::~RemoteComposition() {
  stop();
  waitUntilStopped();
}

void RemoteComposition::start() {
  if (!_socket || !_wake) throw std::runtime_error("There is no socket left for the player");
  platform::globalConcurrentQueue().after(startDelay, [weak = weak_from_this()] {
    if (const auto composition = weak.lock()) composition->startThread();
  });
}

void RemoteComposition::startThread() {
  std::lock_guard hold(_joinLock);
  if (_stopping) return;
  try {
    _thread = std::thread(&RemoteComposition::live, this);
  } catch (const std::system_error& fault) {
    _gone = true;
    _listener.contactLost(std::string("There is no thread left for the player: ") + fault.what());
  }
}

/// Images are read at once, since their pixels are the host's to change afterwards.
void RemoteComposition::setValue(std::size_t input, json_object* value) {
  if (_gone) gone();
  const Type type = _ports.inputs.at(input).type;
  Kept kept;
  if (type == Type::Image && value != nullptr)
    kept = pictureOf(value);
  else
    kept = valueFromJson(type, value);
  std::lock_guard hold(_backlogLock);
  _backlog.set(input, kept);
}

RemoteComposition::Picture RemoteComposition::pictureOf(json_object* value) const {
  const Value image = valueFromJson(Type::Image, value);
  const VuoImage picture = std::get<ImageRef>(image).get();
  JsonOwner withPixels;
  if (pixelsOfImageValue(value) == nullptr) {
    withPixels.reset(VuoImage_getInterprocessJson(picture));
    value = withPixels.get();
  }
  const SharedMemory* pixels = pixelsOfImageValue(value);
  if (pixels == nullptr) throw std::runtime_error("The image's texture can't be read");
  FileDescriptor own(fcntl(pixels->descriptor(), F_DUPFD_CLOEXEC, 0));
  if (!own) throw std::runtime_error("There is no descriptor left for the image");
  return {picture->pixelsWide, picture->pixelsHigh, std::move(own)};
}

/// The caller sends what the player takes at once. All else is left to the thread.
bool RemoteComposition::fire(std::vector<std::size_t> inputs, EventNumber number, bool asked) {
  if (_gone) gone();
  std::lock_guard hold(_backlogLock);
  const bool isNext = !_backlog.hasEvents() && !_handsOver;
  const bool waits = _backlog.fire(std::move(inputs), number, asked);
  if (!isNext || !isSmall(_backlog.next()) || !_socket->takesAtOnce())
    wake();
  else if (!send(_backlog.take(), callersPatience))
    gone();
  return waits;
}

bool RemoteComposition::isSmall(const Backlog::Event& event) {
  std::size_t text = 0;
  for (const auto& [input, kept] : event.values)
    if (const auto* value = std::get_if<Value>(&kept))
      if (const auto* words = std::get_if<std::string>(value)) text += words->size();
  return text <= mostText;
}

/// Where it fails the socket is at its end, and the thread tells of it.
bool RemoteComposition::send(const Backlog::Event& event, std::chrono::milliseconds patience) {
  JsonOwner values = newArray(), fired = newArray();
  for (const auto& [input, kept] : event.values) {
    if (const auto* value = std::get_if<Value>(&kept)) {
      append(values.get(), pairOf(input, jsonFromValue(*value)));
      continue;
    }
    const auto& [width, height, pixels] = std::get<Picture>(kept);
    const JsonOwner message = newMessage("image");
    add(message.get(), "input", input);
    add(message.get(), "width", width);
    add(message.get(), "height", height);
    if (!_socket->send(message.get(), pixels.get(), patience)) return false;
  }
  for (const std::size_t input : event.inputs) append(fired.get(), newNumber(input));
  const JsonOwner message = newMessage("event");
  add(message.get(), "event", event.number);
  add(message.get(), "asked", std::uint64_t{event.asked});
  add(message.get(), "values", std::move(values));
  add(message.get(), "inputs", std::move(fired));
  return _socket->send(message.get(), -1, patience);
}

/// One that the player has already may be finished before the word gets there.
bool RemoteComposition::cancel(EventNumber number) {
  std::optional<Backlog::Values> outdated;  // destroyed after the lock is released
  std::lock_guard hold(_backlogLock);
  outdated = _backlog.cancel(number);
  if (outdated) return true;
  if (_gone || !_socket->takesAtOnce()) return false;
  const JsonOwner message = newMessage("cancel");
  add(message.get(), "event", number);
  _socket->send(message.get(), -1, callersPatience);
  return false;
}

void RemoteComposition::wake() const {
  eventfd_write(_wake.get(), 1);
}

bool RemoteComposition::giveUp(const std::string& why) {
  lose(why);
  _socket->shutDown();
  return true;
}

void RemoteComposition::lose(const std::string& how) {
  std::lock_guard hold(_lossLock);
  if (_loss.empty()) _loss = how;
}

void RemoteComposition::live() {
  pthread_setname_np(pthread_self(), "vuo player");
  try {
    startPlayer();
    attend();
  } catch (const std::exception& fault) {
    lose(fault.what());
  }
  _gone = true;
  _socket->shutDown();
  const std::string how = howItEnded();
  if (!_stopping) _listener.contactLost(how);
}

void RemoteComposition::startPlayer() {
  const FileDescriptor playersEnd = std::move(_playersEnd);  // closed here: its end is noticed
  if (!_stopping)
    _process = std::make_unique<ChildProcess>(helperFolder() + "/vuo-player", _arguments,
                                              std::vector<int>{playersEnd.get(), _artefact.get()});
}

void RemoteComposition::attend() {
  if (!_process) return;
  FrameReceiver frames(*_socket);
  while (auto message = nextMessage()) try {
      take(std::move(*message), frames);
    } catch (const Refusal&) {
      throw;
    } catch (const std::exception& fault) {
      _listener.failed(fault.what());
    }
}

/// Nothing when the process or the contact is at its end. A process that has ended may have left
/// its socket to others.
std::optional<Message> RemoteComposition::nextMessage() {
  bool hasEnded = false;
  for (;;) {
    handOver();
    if (_socket->hasReceived()) break;
    short what = POLLIN;
    {
      std::lock_guard hold(_backlogLock);
      if (_backlog.hasEvents()) what |= POLLOUT;
    }
    pollfd awaited[] = {{_socket->descriptor(), what, 0},
                        {_process->descriptor(), POLLIN, 0},
                        {_wake.get(), POLLIN, 0}};
    if (poll(awaited, std::size(awaited), -1) < 0) continue;
    eventfd_t ignored;
    if (awaited[2].revents != 0) eventfd_read(_wake.get(), &ignored);
    hasEnded = awaited[1].revents != 0;
    if ((awaited[0].revents & ~POLLOUT) != 0) break;
    if (hasEnded) return std::nullopt;
  }
  if (!hasEnded) return _socket->receive(messagePatience);
  const auto now = std::chrono::steady_clock::now();
  if (!_lastWordsEnd) _lastWordsEnd = now + lastWordsPatience;
  return now < *_lastWordsEnd ? _socket->receive(lastWordsPatience) : std::nullopt;
}

/// Hands over what has been kept, as far as the player takes it.
void RemoteComposition::handOver() {
  for (;;) {
    Backlog::Drops drops;
    std::optional<Backlog::Event> event;
    {
      std::lock_guard hold(_backlogLock);
      drops = _backlog.takeDrops();
      if (_backlog.hasEvents() && _socket->takesAtOnce()) event = _backlog.take();
      _handsOver = event.has_value();
    }
    for (const auto& [input, count] : drops)
      for (std::size_t i = 0; i < count; ++i) _listener.eventDropped(input);
    if (!event || !send(*event, messagePatience)) return;
  }
}

/// Sees to it that the process is gone.
std::string RemoteComposition::howItEnded() {
  std::string how;
  {
    std::lock_guard hold(_lossLock);
    how = _loss;
  }
  if (!_process) return how;
  if (_stopping) return endDescription(_process->waitAtMost(stopPatience));
  if (!how.empty()) _process->kill();
  const bool endsByItself = how.empty() && _process->hasEndedWithin(lastWordsPatience);
  const std::string end = endDescription(_process->waitAtMost(std::chrono::milliseconds(0)));
  if (!how.empty()) return how;
  return endsByItself ? end : "it broke off contact";
}

void RemoteComposition::take(Message message, FrameReceiver& frames) {
  if (frames.take(message)) return;
  json_object* body = message.body.get();
  const std::string kind = kindOf(body);
  if (kind == "ready") _listener.started();
  if (kind == "refused") throw Refusal(textIn(body, "message"));
  if (kind == "failed") _listener.failed(textIn(body, "message"));
  if (kind == "dropped") _listener.eventDropped(numberIn(body, "input"));
  if (kind != "outputs") return;
  EventReport report = reportIn(body, frames);
  _listener.eventFinished(report);
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
  {
    std::lock_guard hold(_backlogLock);
    if (!_handsOver) _socket->send(newMessage("stop").get(), -1, std::chrono::milliseconds(0));
  }
  _socket->shutDown();
}

void RemoteComposition::waitUntilStopped() {
  std::lock_guard hold(_joinLock);
  if (_thread.joinable()) _thread.join();
}

}  // namespace vuo
