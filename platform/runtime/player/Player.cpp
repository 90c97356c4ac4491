#include "platform/runtime/player/Player.h"

#include <json-c/json.h>

#include <algorithm>
#include <stdexcept>

#include "platform/runtime/ImagePixels.h"
#include "platform/runtime/transport/Protocol.h"

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

Player::Player(FileDescriptor socket, const Plan& plan, const std::string& folder)
    : _socket(std::move(socket)),
      _frames(_socket, imageOutputs(plan)),
      _reporter(_socket, _frames),
      _composition(plan, folder, _reporter) {}

bool Player::serve() {
  try {
    _composition.start();
  } catch (const std::exception& fault) {
    _reporter.contactLost(fault.what());
  }
  while (auto message = _socket.receive(std::nullopt)) try {
      if (!serve(std::move(*message))) return true;
    } catch (const std::exception& fault) {
      _reporter.failed(fault.what());
    }
  return _reporter.hasLostContact();
}

bool Player::serve(Message message) {
  const std::string kind = kindOf(message.body.get());
  if (kind == "event")
    takeEvent(message.body.get());
  else if (kind == "image")
    takeImage(std::move(message));
  else if (kind == "cancel")
    takeCancel(numberIn(message.body.get(), "event"));
  else
    _frames.take(message.body.get());
  return kind != "stop";
}

void Player::takeEvent(json_object* message) {
  json_object* values = arrayIn(message, "values");
  for (std::size_t i = 0; i < json_object_array_length(values); ++i) {
    json_object* pair = json_object_array_get_idx(values, i);
    _composition.setValue(json_object_get_uint64(json_object_array_get_idx(pair, 0)),
                          json_object_array_get_idx(pair, 1));
  }
  json_object* inputs = arrayIn(message, "inputs");
  std::vector<std::size_t> fired;
  for (std::size_t i = 0; i < json_object_array_length(inputs); ++i)
    fired.push_back(json_object_get_uint64(json_object_array_get_idx(inputs, i)));
  const EventNumber number = numberIn(message, "event");
  if (!_composition.fire(std::move(fired), number, numberIn(message, "asked") != 0))
    tellNotRun(number, EventReport::Outcome::Dropped);
}

void Player::takeCancel(EventNumber number) {
  if (_composition.cancel(number)) tellNotRun(number, EventReport::Outcome::Cancelled);
}

void Player::tellNotRun(EventNumber number, EventReport::Outcome outcome) {
  EventReport report{number, outcome, {}};
  _reporter.eventFinished(report);
}

void Player::takeImage(Message message) {
  const std::uint64_t width = numberIn(message.body.get(), "width");
  const std::uint64_t height = numberIn(message.body.get(), "height");
  const SharedMemory pixels(std::move(message.descriptor), pixelBytes(width, height));
  if (!_uploader) _uploader = std::make_unique<TextureUploader>();
  const ImageRef image = _uploader->upload(width, height, pixels.bytes());
  const JsonOwner value(VuoImage_getJson(image.get()));
  _composition.setValue(numberIn(message.body.get(), "input"), value.get());
}

void Player::stop() {
  _frames.close();
  _composition.stop();
  if (_composition.hasStoppedWithin(lastEventPatience)) _composition.waitUntilStopped();
}

}  // namespace vuo
