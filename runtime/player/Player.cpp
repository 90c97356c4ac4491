#include "runtime/player/Player.h"

#include <algorithm>
#include <stdexcept>

#include "runtime/ImagePixels.h"

namespace vuo {
namespace {

/// For an event that is being run when the player is to stop; shorter than the host's patience.
constexpr std::chrono::milliseconds lastEventPatience{500};

std::size_t imageOutputs(const Plan& plan) {
  return static_cast<std::size_t>(
      std::count_if(plan.publishedOutputs.begin(), plan.publishedOutputs.end(),
                    [](const Port& output) { return output.type == Type::Image; }));
}

}  // namespace

Player::Player(platform::FileDescriptor socket, const Plan& plan, const std::string& folder)
    : _inputs(plan.publishedInputs),
      _socket(std::move(socket)),
      _frames(_socket, imageOutputs(plan)),
      _reporter(_socket, _frames, _textures),
      _composition(plan, folder, _reporter, &_textures) {}

bool Player::serve() {
  _reporter.greet();
  try {
    _composition.start();
  } catch (const std::exception& fault) {
    _reporter.contactLost(fault.what());
  }
  while (auto received = _socket.receive(std::nullopt))
    if (!serve(std::move(*received))) return true;
  return _reporter.hasLostContact();
}

bool Player::serve(MessageSocket::Received received) {
  auto message = decoded<message::ToPlayer>(received.bytes);
  _memory = std::move(received.descriptor);
  return std::visit(
      [&](auto& said) {
        using Kind = std::decay_t<decltype(said)>;
        if ((_memory || received.descriptorIsLost) != message::bringsDescriptor<Kind>)
          throw ProtocolError("a descriptor came with the wrong message");
        if (_isGreeted == std::is_same_v<Kind, message::Greeting>)
          throw ProtocolError("the greeting is not the first message");
        handle(said);
        return !std::is_same_v<Kind, message::Stop>;
      },
      message);
}

void Player::handle(message::Greeting greeting) {
  if (greeting.format != messageFormat)
    throw ProtocolError("the host speaks format " + std::to_string(greeting.format));
  _isGreeted = true;
}

void Player::handle(message::Values& values) {
  for (message::InputValue& value : values.values)
    _composition.setValue(value.input,
                          message::valueFor(typeOf(value.input), std::move(value.value)));
}

void Player::handle(message::Event& event) {
  _textures.giveBack(event.texturesBack);
  message::Values values{std::move(event.values)};
  handle(values);
  for (const std::uint32_t input : event.inputs) typeOf(input);
  if (!_composition.fire({event.inputs.begin(), event.inputs.end()}, event.event, event.asked))
    tellNotRun(event.event, EventReport::Outcome::Dropped);
}

void Player::handle(const message::Cancel& cancel) {
  if (_composition.cancel(cancel.event)) tellNotRun(cancel.event, EventReport::Outcome::Cancelled);
}

void Player::tellNotRun(EventNumber number, EventReport::Outcome outcome) {
  EventReport report{number, outcome, {}};
  _reporter.eventFinished(report);
}

/// One that there is no room for leaves the input as it is.
void Player::handle(const message::InputPicture& picture) {
  if (typeOf(picture.input) != Type::Image) throw ProtocolError("the input takes no picture");
  try {
    _composition.setValue(picture.input, Value(upload(picture)));
  } catch (const ProtocolError&) {
    throw;
  } catch (const std::exception& fault) {
    _reporter.failed(fault.what());
  }
  _reporter.pictureTaken();
}

void Player::handle(message::Texture& texture) {
  _textures.handle(texture, std::move(_memory));
}

void Player::handle(const message::InputTexture& picture) {
  if (typeOf(picture.input) != Type::Image) throw ProtocolError("the input takes no picture");
  _composition.setValue(picture.input, Value(_textures.input(picture.texture)));
}

ImageRef Player::upload(const message::InputPicture& picture) {
  if (!_memory) throw std::runtime_error("There is no descriptor left for a picture");
  const auto& [input, width, height] = picture;
  const auto pixels = receivedPicture(std::move(_memory), pixelBytes(width, height));
  if (!_uploader) _uploader = std::make_unique<TextureUploader>(PictureBudget::ofAScene());
  return _uploader->upload(width, height, pixels.bytes());
}

void Player::handle(const message::BufferBack& back) {
  _frames.handle(back);
}

Type Player::typeOf(std::uint32_t input) const {
  if (input >= _inputs.size()) throw ProtocolError("there is no such input");
  return _inputs[input].type;
}

void Player::stop() {
  _frames.close();
  _composition.stop();
  if (_composition.hasStoppedWithin(lastEventPatience)) _composition.waitUntilStopped();
}

}  // namespace vuo
