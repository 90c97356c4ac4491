#include "runtime/runner/SeparateProcessInstance.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <system_error>

#include "platform/system/Dispatch.h"
#include "platform/system/WithMemory.h"
#include "runtime/ImagePixels.h"
#include "runtime/containment/ShaderFolder.h"
#include "runtime/sharing/TextureSharing.h"

namespace vuo {
namespace {

/// The one who asks for a start, often the thread of a user interface, has a few calls to make yet.
/// With few processors the new process would take the one that these run on.
constexpr std::chrono::microseconds startDelay{300};
/// Of a caller, whose messages are small and only begun when there is room for them.
constexpr std::chrono::milliseconds callersPatience{50};
constexpr std::chrono::milliseconds messagePatience = wholeMessagePatience;
constexpr std::chrono::milliseconds stopPatience{1000};
/// For what a process has said before its end.
constexpr std::chrono::milliseconds lastWordsPatience{100};

/// Of texts in an event that a caller sends by itself, in bytes; far less than a socket has room
/// for.
constexpr std::size_t mostText = 8 << 10;

Value valueThatFits(Value value) {
  const auto* text = std::get_if<std::string>(&value);
  if (text != nullptr && text->size() > longestText)
    throw std::runtime_error("A text of " + std::to_string(text->size()) +
                             " bytes is too long for a process of its own");
  return value;
}

}  // namespace

SeparateProcessInstance::SeparateProcessInstance(std::string path,
                                                 platform::FileDescriptor artefact,
                                                 ContainedProgram player, PublishedPorts ports,
                                                 InstanceListener& listener)
    : _path(std::move(path)),
      _artefact(std::move(artefact)),
      _player(std::move(player)),
      _ports(std::move(ports)),
      _listener(listener),
      _wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) return;
  platform::FileDescriptor ours(ends[0]);
  _playersEnd = platform::FileDescriptor(ends[1]);
  try {
    _contact = std::make_unique<PlayerContact>(std::move(ours), _ports, _listener);
  } catch (const std::exception& fault) {
    _loss = fault.what();
  }
}

SeparateProcessInstance::~SeparateProcessInstance() {
  stop();
  waitUntilStopped();
}

void SeparateProcessInstance::start() {
  if (!_contact || !_wake) {
    platform::LockGuard hold(_lossLock);
    throw std::runtime_error(_loss.empty() ? "There is no socket left for the player" : _loss);
  }
  platform::globalConcurrentQueue().after(startDelay, [weak = weak_from_this()] {
    if (const auto composition = weak.lock()) composition->startThread();
  });
}

void SeparateProcessInstance::startThread() {
  platform::LockGuard hold(_joinLock);
  if (_stopping) return;
  try {
    _thread = std::thread(&SeparateProcessInstance::live, this);
  } catch (const std::exception& fault) {
    _gone = true;
    _listener.contactLost(platform::orNothing(
        [&] { return std::string("There is no thread left for the player: ") + fault.what(); }));
  }
}

/// Images that the player can't read where they lie are copied at once, since they are the host's
/// to change afterwards.
void SeparateProcessInstance::setValue(std::size_t input, json_object* value) {
  const Type type = _ports.inputs.at(input).type;
  Kept kept;
  if (type == Type::Image && value != nullptr)
    kept = pictureOf(value);
  else
    kept = valueThatFits(valueFromJson(type, value));
  platform::LockGuard hold(_backlogLock);
  _backlog.set(input, kept);
}

SeparateProcessInstance::Kept SeparateProcessInstance::pictureOf(json_object* value) const {
  const auto image = std::get<ImageRef>(valueFromJson(Type::Image, value));
  if (auto named = _contact->nameFor(image)) return *std::move(named);
  ++TextureSharing::counts().carriedIn;
  PictureTicket ticket = _contact->ticketFor(image->pixelsWide, image->pixelsHigh);
  return Picture{std::move(ticket), sharedPixelsOf(image.get())->releaseDescriptor()};
}

/// The caller sends what the player takes at once. All else is left to the thread.
bool SeparateProcessInstance::fire(std::vector<std::size_t> inputs, EventNumber number,
                                   bool asked) {
  if (_gone) return true;  // the end of all events is being told, or has been
  platform::LockGuard hold(_backlogLock);
  const bool isNext = !_backlog.hasEvents() && !_handsOver;
  const bool waits = _backlog.fire(std::move(inputs), number, asked);
  if (!isNext || !isSmall(_backlog.next()) || !_contact->takesAtOnce()) {
    wake();
    return waits;
  }
  try {
    send(_backlog.pop(), callersPatience);
  } catch (const std::exception&) {
    _contact->shutDown();  // the thread notices, and tells how the player ended
  }
  return waits;
}

bool SeparateProcessInstance::isSmall(const Backlog::Event& event) {
  std::size_t text = 0;
  for (const auto& [input, kept] : event.values)
    if (const auto* value = std::get_if<Value>(&kept))
      if (const auto* words = std::get_if<std::string>(value)) text += words->size();
  return text <= mostText;
}

/// Pictures come before the event, which makes them and the other values take effect.
void SeparateProcessInstance::send(const Backlog::Event& event,
                                   std::chrono::milliseconds patience) {
  std::vector<message::InputValue> values;
  for (const auto& [input, kept] : event.values) {
    if (const auto* picture = std::get_if<Picture>(&kept))
      _contact->setPicture(input, picture->ticket, picture->pixels.get(), patience);
    else if (const auto* named = std::get_if<NamedPicture>(&kept))
      _contact->setPicture(input, *named, patience);
    else
      values.push_back({static_cast<std::uint32_t>(input), message::plain(std::get<Value>(kept))});
  }
  _contact->fire(values, event.inputs, event.number, event.asked, patience);
}

/// One that the player has already may be finished before the word gets there.
bool SeparateProcessInstance::cancel(EventNumber number) {
  std::optional<Backlog::Values> outdated;  // destroyed after the lock is released
  platform::LockGuard hold(_backlogLock);
  outdated = _backlog.cancel(number);
  if (outdated) return true;
  if (!_gone) _contact->cancel(number, callersPatience);
  return false;
}

void SeparateProcessInstance::wake() const {
  eventfd_write(_wake.get(), 1);
}

bool SeparateProcessInstance::giveUp(const std::string& why) {
  platform::withMemory([&] { lose(why); });
  _contact->shutDown();
  return true;
}

void SeparateProcessInstance::lose(const std::string& how) {
  platform::LockGuard hold(_lossLock);
  if (_loss.empty()) _loss = how;
}

void SeparateProcessInstance::live() {
  pthread_setname_np(pthread_self(), "vuo player");
  try {
    startPlayer();
    attend();
  } catch (const std::exception& fault) {
    platform::withMemory([&] { lose(fault.what()); });
  }
  _gone = true;
  _contact->end();
  _contact->shutDown();
  std::string how;
  try {
    how = howItEnded();
  } catch (const std::bad_alloc&) {
    // It ends with what stands for it here.
  }
  if (!_stopping) _listener.contactLost(how);
}

void SeparateProcessInstance::startPlayer() {
  const platform::FileDescriptor playersEnd =
      std::move(_playersEnd);  // closed here: its end is noticed
  if (_stopping) return;
  _player.descriptors = {playersEnd.get(), _artefact.get()};
  _player.ownFolder = shaderFolderOf(_path);
  _player.environment = shaderFolderVariables(_player.ownFolder);
  _process = std::make_unique<ChildProcess>(_player);
}

void SeparateProcessInstance::attend() {
  while (_process) {
    const auto patience = awaitMessage();
    if (!patience || !_contact->handleNext(patience)) return;
  }
}

/// How long a message may be in coming that there are signs of. Nothing when the process or the
/// contact is at its end. A process that has ended may have left its socket to others.
std::optional<std::chrono::milliseconds> SeparateProcessInstance::awaitMessage() {
  bool hasEnded = false;
  for (;;) {
    handOver();
    short what = POLLIN;
    {
      platform::LockGuard hold(_backlogLock);
      if (_backlog.hasEvents() && _contact->hasRoom()) what |= POLLOUT;
    }
    pollfd awaited[] = {{_contact->descriptor(), what, 0},
                        {_process->descriptor(), POLLIN, 0},
                        {_wake.get(), POLLIN, 0}};
    if (poll(awaited, std::size(awaited), -1) < 0) continue;
    eventfd_t ignored;
    if (awaited[2].revents != 0) eventfd_read(_wake.get(), &ignored);
    hasEnded = awaited[1].revents != 0;
    if ((awaited[0].revents & ~POLLOUT) != 0) break;
    if (hasEnded) return std::nullopt;
  }
  if (!hasEnded) return messagePatience;
  const auto now = std::chrono::steady_clock::now();
  if (!_lastWordsEnd) _lastWordsEnd = now + lastWordsPatience;
  return now < *_lastWordsEnd ? std::optional(lastWordsPatience) : std::nullopt;
}

/// Hands over what has been kept, as far as the player takes it.
void SeparateProcessInstance::handOver() {
  for (;;) {
    Backlog::Drops drops;
    std::optional<Backlog::Event> event;
    {
      platform::LockGuard hold(_backlogLock);
      drops = _backlog.popDrops();
      if (_backlog.hasEvents() && _contact->takesAtOnce()) event = _backlog.pop();
      _handsOver = event.has_value();
    }
    for (const auto& [input, count] : drops)
      for (std::size_t i = 0; i < count; ++i) _listener.eventDropped(input);
    if (!event) return;
    send(*event, messagePatience);
  }
}

/// Sees to it that the process is gone.
std::string SeparateProcessInstance::howItEnded() {
  std::string how;
  {
    platform::LockGuard hold(_lossLock);
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

/// The player ends when it is told to or when its socket ends, so the message may get lost.
void SeparateProcessInstance::stop() {
  if (!_contact || _stopping.exchange(true)) return;
  try {
    platform::LockGuard hold(_backlogLock);
    if (!_handsOver) _contact->stop(std::chrono::milliseconds(0));
  } catch (const std::exception&) {
    // The end of the contact says it too.
  }
  _contact->shutDown();
}

void SeparateProcessInstance::waitUntilStopped() {
  platform::LockGuard hold(_joinLock);
  if (_thread.joinable()) _thread.join();
}

}  // namespace vuo
