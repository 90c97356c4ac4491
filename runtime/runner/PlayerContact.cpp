#include "runtime/runner/PlayerContact.h"

#include <algorithm>
#include <numeric>
#include <stdexcept>

#include "runtime/ImagePixels.h"
#include "runtime/sharing/TextureSharing.h"

namespace vuo {
namespace {

std::size_t pictureOutputs(const PublishedPorts& ports) {
  return static_cast<std::size_t>(
      std::count_if(ports.outputs.begin(), ports.outputs.end(),
                    [](const PublishedPort& output) { return output.type == Type::Image; }));
}

template <class Kind>
void requireDescriptor(const MessageSocket::Received& received) {
  const bool brings = received.descriptor || received.descriptorIsLost;
  if (brings != message::bringsDescriptor<Kind>)
    throw ProtocolError(brings ? "it sent a descriptor that no message asked for"
                               : "it sent a message without its descriptor");
}

}  // namespace

PlayerContact::PlayerContact(platform::FileDescriptor socket, PublishedPorts ports,
                             InstanceListener& listener, std::chrono::milliseconds wholeMessage)
    : _ports(std::move(ports)),
      _listener(listener),
      _budget(PictureBudget::ofAScene()),
      _socket(std::move(socket), wholeMessage),
      _mayShareTextures(TextureSharing::isAllowed()),
      _inputs(_socket, _budget),
      _lent(_socket, _budget),
      _textBytes(_ports.outputs.size()),
      _frames(std::make_unique<FrameReceiver>(_socket, pictureOutputs(_ports), _budget)) {
  if (std::max(_ports.inputs.size(), _ports.outputs.size()) > mostListed)
    throw std::runtime_error("A composition with more than " + std::to_string(mostListed) +
                             " ports can't run in a process of its own");
  send(message::Greeting(), -1, std::chrono::milliseconds(0));
}

// ---- to the player

void PlayerContact::send(const message::ToPlayer& message, int descriptor, Patience patience) {
  if (!_socket.send(encoded(message), descriptor, patience))
    throw std::runtime_error("The composition's process is gone");
}

void PlayerContact::fire(const std::vector<message::InputValue>& values,
                         const std::vector<std::size_t>& inputs, EventNumber number, bool asked,
                         Patience patience) {
  message::Event event{number, asked, values, {}, _lent.popReturned()};
  for (const std::size_t input : inputs) event.inputs.push_back(static_cast<std::uint32_t>(input));
  {
    platform::LockGuard hold(_openLock);
    _open.emplace(number, inputs);
  }
  try {
    if (encoded(message::ToPlayer(event)).size() > longestMessage) {
      sendValues(std::exchange(event.values, {}), patience);
    }
    send(event, -1, patience);
  } catch (...) {
    platform::LockGuard hold(_openLock);
    _open.erase(number);
    throw;
  }
}

/// One by one, since one alone may fill a message.
void PlayerContact::sendValues(const std::vector<message::InputValue>& values, Patience patience) {
  for (const message::InputValue& value : values) send(message::Values{{value}}, -1, patience);
}

PlayerContact::Inputs PlayerContact::closeEvent(EventNumber event) {
  platform::LockGuard hold(_openLock);
  const auto found = _open.find(event);
  if (found == _open.end()) throw ProtocolError("it ended an event that it was not at");
  Inputs inputs = std::move(found->second);
  _open.erase(found);
  return inputs;
}

PictureTicket PlayerContact::ticketFor(std::uint64_t width, std::uint64_t height) const {
  const auto others = static_cast<std::size_t>(_pictures.use_count()) - 1;
  if (others >= mostPicturesUnderWay)
    throw std::runtime_error("The composition is " + std::to_string(others) + " pictures behind");
  auto bytes = PictureBudget::reserve(_budget, pixelBytes(width, height));
  return PictureTicket(std::make_shared<const PictureTicket::Picture>(
      PictureTicket::Picture{width, height, std::move(bytes), _pictures}));
}

void PlayerContact::setPicture(std::size_t input, const PictureTicket& picture, int pixels,
                               Patience patience) {
  {
    platform::LockGuard hold(_openLock);
    _picturesUnderWay.push_back(picture);
  }
  try {
    send(
        message::InputPicture{static_cast<std::uint32_t>(input), picture.width(), picture.height()},
        pixels, patience);
  } catch (...) {
    platform::LockGuard hold(_openLock);
    if (!_picturesUnderWay.empty()) _picturesUnderWay.pop_back();
    throw;
  }
}

std::optional<NamedPicture> PlayerContact::nameFor(const ImageRef& image) {
  return _sharesTextures ? _inputs.nameFor(image, _nextTexture) : std::nullopt;
}

/// What can't be said ends the contact, so it is the player's from here on.
void PlayerContact::setPicture(std::size_t input, const NamedPicture& picture, Patience patience) {
  _inputs.gaveTo(picture);
  send(message::InputTexture{static_cast<std::uint32_t>(input), picture.texture()}, -1, patience);
}

void PlayerContact::cancel(EventNumber number, Patience patience) {
  {
    platform::LockGuard hold(_openLock);
    if (_open.count(number) == 0) return;
  }
  if (_socket.takesAtOnce()) send(message::Cancel{number}, -1, patience);
}

void PlayerContact::stop(Patience patience) {
  send(message::Stop(), -1, patience);
}

bool PlayerContact::hasRoom() const {
  platform::LockGuard hold(_openLock);
  return _open.size() < mostOpenEvents;
}

// ---- from the player

bool PlayerContact::handleNext(Patience patience) {
  auto received = _socket.receive(patience);
  if (!received) return false;
  handle(std::move(*received));
  return true;
}

void PlayerContact::handle(MessageSocket::Received received) {
  auto message = decoded<message::ToHost>(received.bytes);
  std::visit(
      [&](auto& said) {
        using Kind = std::decay_t<decltype(said)>;
        requireDescriptor<Kind>(received);
        if (_hasGreeted == std::is_same_v<Kind, message::Greeting>)
          throw ProtocolError(_hasGreeted ? "it greeted twice"
                                          : "it did not begin with a greeting");
        handle(said, std::move(received.descriptor));
      },
      message);
}

void PlayerContact::handle(message::Greeting greeting, platform::FileDescriptor) {
  if (greeting.format != messageFormat)
    throw ProtocolError("it speaks format " + std::to_string(greeting.format) + ", not " +
                        std::to_string(messageFormat));
  _hasGreeted = true;
}

void PlayerContact::handle(const message::Ready& ready, platform::FileDescriptor) {
  if (std::exchange(_isReady, true)) throw ProtocolError("it said twice that it is ready");
  _playersDevice = ready.device;
  maybeShare();
  _listener.started();
}

void PlayerContact::handle(const message::Refused& refused, platform::FileDescriptor) {
  if (_isReady) throw ProtocolError("it refused to play what it plays");
  throw std::runtime_error(refused.why.substr(0, longestFault));
}

/// What is not run may be told of before.
void PlayerContact::requireReady() const {
  if (!_isReady) throw ProtocolError("it reported before it was ready");
}

/// There are few of these for each event. Faults of pictures may belong to either of two.
void PlayerContact::countAside() {
  if (++_asides > 2 * mostFaultsPerEvent + pictureOutputs(_ports) + spareBuffers)
    throw ProtocolError("it said " + std::to_string(_asides) + " things beside an event");
}

void PlayerContact::handle(const message::Buffer& buffer, platform::FileDescriptor memory) {
  requireReady();
  countAside();
  _frames->handle(buffer, std::move(memory));
}

void PlayerContact::handle(const message::Fault& fault, platform::FileDescriptor) {
  countAside();
  if (fault.what.size() > longestFault) throw ProtocolError("it told of a fault at great length");
  fault.isWarning ? _listener.warned(fault.what) : _listener.failed(fault.what);
}

void PlayerContact::handle(message::PictureTaken, platform::FileDescriptor) {
  _asides = 0;
  platform::LockGuard hold(_openLock);
  if (_picturesUnderWay.empty()) throw ProtocolError("it took a picture that it was not given");
  _picturesUnderWay.pop_front();
}

/// Both have to draw on one device with one driver.
void PlayerContact::maybeShare() {
  if (!_mayShareTextures || _playersDevice.empty()) return;
  const std::string ours = TextureSharing::identity();
  if (ours.empty()) return;
  _sharesTextures = ours == _playersDevice;
  if (!_sharesTextures) TextureSharing::fellBack("a composition's process draws on another device");
  _playersDevice.clear();  // compared
}

void PlayerContact::handle(const message::TextureTaken& taken, platform::FileDescriptor) {
  const bool isInput = _inputs.has(taken.texture);
  if (!isInput && !_lent.has(taken.texture))
    throw ProtocolError("it took a texture that it was not given");
  if (taken.fault.size() > longestFault) throw ProtocolError("it told of a fault at great length");
  if (!taken.fault.empty()) TextureSharing::fellBack(taken.fault);
  if (taken.fault.empty())
    isInput ? _inputs.taken(taken.texture) : _lent.taken(taken.texture);
  else
    isInput ? _inputs.refused(taken.texture) : _lent.refused(taken.texture);
}

void PlayerContact::leave(std::uint32_t texture) {
  _inputs.has(texture) ? _inputs.left(texture) : _lent.left(texture);
}

void PlayerContact::handle(message::EventEnd& end, platform::FileDescriptor) {
  if (end.outcome == EventReport::Outcome::Run) requireReady();
  const Inputs inputs = closeEvent(end.event);
  _asides = 0;
  if (end.outcome != EventReport::Outcome::Run && !end.reports.empty())
    throw ProtocolError("it reported of an event that was not run");
  for (const std::uint32_t texture : end.texturesLeft) leave(texture);
  EventReport report{end.event, end.outcome, {}};
  for (message::Report& output : end.reports) {
    if (output.output >= _ports.outputs.size() ||
        (!report.outputs.empty() && output.output <= report.outputs.back().output))
      throw ProtocolError("it reported of an output that there is not");
    report.outputs.push_back(reportOf(output));
  }
  if (end.outcome == EventReport::Outcome::Dropped)
    for (const std::size_t input : inputs) _listener.eventDropped(input);
  _listener.eventFinished(report);
}

OutputReport PlayerContact::reportOf(message::Report& said) {
  OutputReport report{said.output, false, {}, std::move(said.fault)};
  const Type type = _ports.outputs[said.output].type;
  if (report.fault.size() > longestFault) throw ProtocolError("it told of a fault at great length");
  if (auto* value = std::get_if<message::PlainValue>(&said.data)) {
    report.value = message::valueFor(type, std::move(*value));
    report.sentData = true;
    keepText(report);
  } else if (!std::holds_alternative<std::monostate>(said.data)) {
    if (type != Type::Image)
      throw ProtocolError(std::string("it sent a frame that is no ") + typeName(type));
    try {
      report.value = pictureOf(said);
      report.sentData = true;
    } catch (const ProtocolError&) {
      throw;
    } catch (const std::exception& fault) {
      report.fault = fault.what();
      _listener.failed(report.fault);
    }
  }
  return report;
}

ImageRef PlayerContact::pictureOf(const message::Report& said) {
  if (const auto* frame = std::get_if<message::PictureInTexture>(&said.data)) {
    if (_frames) _frames->pictureCameOtherwise();
    ImageRef picture = _lent.receive(*frame);
    ++TextureSharing::counts().sharedOut;
    return picture;
  }
  const auto& frame = std::get<message::PictureInBuffer>(said.data);
  ImageRef picture = _frames->receive(frame);
  ++TextureSharing::counts().carriedOut;
  TextureSharing::prepare();
  maybeShare();
  if (_sharesTextures) _lent.lendFor(frame.width, frame.height, _nextTexture);
  return picture;
}

/// Leaves the output as it is when the host would have to keep too much.
void PlayerContact::keepText(OutputReport& report) {
  const auto* text = std::get_if<std::string>(&report.value);
  if (text == nullptr) return;
  std::size_t& own = _textBytes[report.output];
  const std::size_t all = std::accumulate(_textBytes.begin(), _textBytes.end(), std::size_t{0});
  if (all - own + text->size() <= textOfAScene) {
    own = text->size();
    return;
  }
  report.value = Value();
  report.sentData = false;
  report.fault =
      "The composition's texts would take more than " + std::to_string(textOfAScene >> 20) + " MiB";
  _listener.failed(report.fault);
}

}  // namespace vuo
