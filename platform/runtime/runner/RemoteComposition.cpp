#include "platform/runtime/runner/RemoteComposition.h"

#include <pthread.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "platform/runtime/HelperFolder.h"
#include "platform/runtime/ImagePixels.h"

namespace vuo {
namespace {

constexpr std::chrono::milliseconds startPatience{10000};
constexpr std::chrono::milliseconds sendPatience{50};
constexpr std::chrono::milliseconds stopPatience{1000};

[[noreturn]] void gone() {
  throw std::runtime_error("The composition's process is gone");
}

}  // namespace

RemoteComposition::RemoteComposition(FileDescriptor artefact, std::vector<std::string> arguments,
                                     PublishedPorts ports, CompositionListener& listener)
    : _artefact(std::move(artefact)),
      _arguments(std::move(arguments)),
      _ports(std::move(ports)),
      _listener(listener) {}

RemoteComposition::~RemoteComposition() {
  stop();
  waitUntilStopped();
}

PublishedPorts RemoteComposition::start() {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
    throw std::runtime_error(std::string("No socket for the player: ") + std::strerror(errno));
  _contact = std::make_unique<PlayerContact>(FileDescriptor(ends[0]), _ports, _listener);
  {
    const FileDescriptor playersEnd(ends[1]);  // closed here, so that its end is noticed
    _process = std::make_unique<ChildProcess>(helperFolder() + "/vuo-player", _arguments,
                                              std::vector<int>{playersEnd.get(), _artefact.get()});
  }
  try {
    awaitReady();
  } catch (...) {
    _process->kill();
    throw;
  }
  _reader = std::thread(&RemoteComposition::takeReports, this);
  return _ports;
}

void RemoteComposition::awaitReady() {
  const auto deadline = std::chrono::steady_clock::now() + startPatience;
  while (!_contact->isReady()) {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    if (left.count() < 0 || !_contact->takeNext(left))
      throw std::runtime_error("The player did not start");
  }
}

/// Images travel at once, since their pixels are the host's to change afterwards.
void RemoteComposition::setValue(std::size_t input, json_object* json) {
  if (_gone) gone();
  if (_ports.inputs.at(input).type == Type::Image && json != nullptr) return sendImage(input, json);
  Value value = valueFromJson(_ports.inputs.at(input).type, json);
  if (const auto* text = std::get_if<std::string>(&value); text && text->size() > longestText)
    throw std::runtime_error("A text of " + std::to_string(text->size()) +
                             " bytes is too long for a process of its own");
  std::lock_guard hold(_valuesLock);
  std::swap(_values[input], value);
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
  std::lock_guard hold(_valuesLock);
  _values.erase(input);
  _contact->setPicture(input, picture->pixelsWide, picture->pixelsHigh, pixels->descriptor(),
                       sendPatience);
}

void RemoteComposition::fire(std::vector<std::size_t> inputs, EventNumber number, bool asked) {
  std::lock_guard hold(_valuesLock);
  if (_gone) gone();
  if (_contact->fire(_values, inputs, number, asked, sendPatience)) _values.clear();
}

void RemoteComposition::cancel(EventNumber number) {
  _contact->cancel(number, sendPatience);
}

void RemoteComposition::takeReports() {
  pthread_setname_np(pthread_self(), "vuo reports");
  std::string lie;
  try {
    while (_contact->takeNext(std::nullopt)) {
    }
  } catch (const std::exception& fault) {
    lie = fault.what();
  }
  _gone = true;
  _contact->shutDown();
  if (_stopping) return;
  const std::string end = endDescription(_process->waitAtMost(std::chrono::milliseconds(0)));
  _listener.contactLost(lie.empty() ? end : lie);
}

/// The player ends when it is told to or when its socket ends, so the message may get lost.
void RemoteComposition::stop() {
  if (!_contact || _stopping.exchange(true)) return;
  try {
    _contact->stop(std::chrono::milliseconds(0));
  } catch (const std::exception&) {
    // The end of the contact says it too.
  }
  _contact->shutDown();
}

void RemoteComposition::waitUntilStopped() {
  std::lock_guard hold(_endLock);
  if (_process) _process->waitAtMost(stopPatience);
  if (_reader.joinable()) _reader.join();
}

}  // namespace vuo
