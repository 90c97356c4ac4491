#include "runtime/player/Reporter.h"

#include <epoxy/gl.h>

#include <stdexcept>

#include "runtime/sharing/MemoryTexture.h"
#include "runtime/textures/TextureCopy.h"

namespace vuo {
namespace {

constexpr const char* tooLong = "The outputs' texts are too long for one message";

/// Leaves out texts until the rest fits; without any it does.
std::string fitting(message::EventEnd end) {
  std::string bytes = encoded(message::ToHost(end));
  for (auto report = end.reports.rbegin(); report != end.reports.rend(); ++report) {
    if (bytes.size() <= longestMessage) break;
    const auto* value = std::get_if<message::PlainValue>(&report->data);
    if (value == nullptr || !std::holds_alternative<std::string>(*value)) continue;
    report->data = std::monostate();
    report->fault = tooLong;
    bytes = encoded(message::ToHost(end));
  }
  return bytes;
}

}  // namespace

void Reporter::started() {
  send(message::Ready{deviceIdentity()});
}

void Reporter::eventFinished(EventReport& report) {
  message::EventEnd end{report.event, report.outcome, {}, {}};
  for (OutputReport& output : report.outputs) end.reports.push_back(reportOf(output));
  if (report.outcome == EventReport::Outcome::Run)
    for (message::TextureTaken& taken : _textures.work()) {
      taken.fault = taken.fault.substr(0, longestFault);
      send(taken);
    }
  end.texturesLeft = _textures.popLeft();
  sendBytes(fitting(std::move(end)));
  _faults = 0;
}

message::Report Reporter::reportOf(OutputReport& output) {
  message::Report report{static_cast<std::uint32_t>(output.output), {}, {}};
  if (!output.sentData) return report;
  report.fault = output.fault.substr(0, longestFault);
  const auto* image = std::get_if<ImageRef>(&output.value);
  if (!image || !*image) {
    report.data = message::plain(output.value);
    return report;
  }
  try {
    putPicture(*image, report);
  } catch (const std::runtime_error& fault) {
    failed(fault.what());
    report.fault = std::string(fault.what()).substr(0, longestFault);
  }
  return report;
}

/// In the lent texture that it was drawn in, or copied to one on the GPU; else through memory.
void Reporter::putPicture(const ImageRef& image, message::Report& report) {
  auto texture = _textures.handOver(image);
  if (!texture) {
    const ImageRef copy = _textures.newImage(image->pixelsWide, image->pixelsHigh);
    if (copy && copyPixels(image.get(), copy->glTextureName)) {
      glFinish();
      texture = _textures.handOver(copy);
    }
  }
  if (texture)
    report.data = message::PictureInTexture{*texture};
  else
    report.data = _frames.send(image);
}

void Reporter::contactLost(const std::string& how) {
  _lost = true;
  send(message::Refused{how.substr(0, longestFault)});
}

/// The host takes so many with one event and no more.
void Reporter::tell(const std::string& what, bool isWarning) {
  if (++_faults <= mostFaultsPerEvent)
    send(message::Fault{what.substr(0, longestFault), isWarning});
}

void Reporter::send(const message::ToHost& message) {
  sendBytes(encoded(message));
}

/// What can't be said would be waited for in vain.
void Reporter::sendBytes(const std::string& bytes) {
  try {
    _socket.send(bytes, -1, std::nullopt);
  } catch (const std::runtime_error&) {
    _socket.shutDown();
  }
}

}  // namespace vuo
