#include "platform/runtime/player/Reporter.h"

#include <stdexcept>

#include "platform/runtime/transport/Protocol.h"

namespace vuo {

void Reporter::outputsReached(std::vector<OutputReport>& reports) {
  JsonOwner list = newArray();
  for (const OutputReport& report : reports) append(list.get(), messageOf(report));
  const JsonOwner message = newMessage("outputs");
  add(message.get(), "reports", std::move(list));
  send(message);
}

JsonOwner Reporter::messageOf(const OutputReport& report) {
  JsonOwner message = newObject();
  add(message.get(), "output", report.output);
  if (!report.sentData) return message;
  const auto* image = std::get_if<ImageRef>(&report.value);
  if (!image || !*image) {
    add(message.get(), "value", jsonFromValue(report.value));
    return message;
  }
  try {
    add(message.get(), "frame", _frames.send(*image));
  } catch (const std::runtime_error& fault) {
    failed(fault.what());
  }
  return message;
}

void Reporter::eventDropped(std::size_t input) {
  const JsonOwner message = newMessage("dropped");
  add(message.get(), "input", input);
  send(message);
}

void Reporter::failed(const std::string& text) {
  const JsonOwner message = newMessage("failed");
  add(message.get(), "message", text);
  send(message);
}

void Reporter::send(const JsonOwner& message) {
  _socket.send(message.get(), -1, std::nullopt);
}

}  // namespace vuo
