#include "platform/runtime/player/Reporter.h"

#include <stdexcept>

#include "platform/runtime/transport/Protocol.h"

namespace vuo {

void Reporter::started() {
  send(newMessage("ready"));
}

void Reporter::contactLost(const std::string& how) {
  _lost = true;
  const JsonOwner message = newMessage("refused");
  add(message.get(), "message", how);
  send(message);
}

void Reporter::eventFinished(EventReport& report) {
  JsonOwner list = newArray();
  for (const OutputReport& output : report.outputs) append(list.get(), messageOf(output));
  const JsonOwner message = newMessage("outputs");
  add(message.get(), "event", report.event);
  add(message.get(), "outcome", static_cast<std::uint64_t>(report.outcome));
  add(message.get(), "reports", std::move(list));
  send(message);
}

JsonOwner Reporter::messageOf(const OutputReport& report) {
  JsonOwner message = newObject();
  add(message.get(), "output", report.output);
  if (!report.sentData) return message;
  if (!report.fault.empty()) add(message.get(), "fault", report.fault);
  const auto* image = std::get_if<ImageRef>(&report.value);
  if (!image || !*image) {
    add(message.get(), "value", jsonFromValue(report.value));
    return message;
  }
  try {
    add(message.get(), "frame", _frames.send(*image));
  } catch (const std::runtime_error& fault) {
    failed(fault.what());
    add(message.get(), "fault", std::string(fault.what()));
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
