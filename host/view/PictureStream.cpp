#include "host/view/PictureStream.h"

#include <algorithm>
#include <cstdio>

#include "host/ValueText.h"

namespace {

/// A composition that did not answer is busy, or its picture does not follow the time. It is asked
/// again only after a while, so that frames never pile up in it; what it makes meanwhile is shown.
constexpr std::chrono::seconds kPatience{2};

/// As many digits as a glance takes in.
std::string briefly(double number) {
  char text[32];
  std::snprintf(text, sizeof text, "%.4g", number);
  return text;
}

std::string briefly(const ZQVuoPortValue& value) {
  if (const auto color = value.colorValue()) {
    return briefly(color->red) + ", " + briefly(color->green) + ", " + briefly(color->blue) + ", " +
           briefly(color->alpha);
  }
  if (const auto point = value.pointValue()) return briefly(point->x) + ", " + briefly(point->y);
  if (const auto* number = std::get_if<double>(&value.contents())) return briefly(*number);
  return textFromValue(value);
}

std::string outputText(const VuoOutput& output) {
  if (output.value) return briefly(*output.value);
  if (!output.buffer) return "–";
  const ZQSize size = output.buffer->size();
  return std::to_string(static_cast<int>(size.width)) + " × " +
         std::to_string(static_cast<int>(size.height));
}

}  // namespace

PictureStream::PictureStream(std::shared_ptr<VuoGLScene> scene)
    : _scene(std::move(scene)), _composition(_scene->comp()) {}

PictureStream::Made PictureStream::next(const ZQBufferRef& frame) {
  const bool cameLate = pictureReported() && !_answers;
  const auto now = Clock::now();
  if (cameLate) {
    _answers = true;
    return {still(), now - _asked};
  }
  if (!_answers && now - _asked < kPatience) return {};
  _asked = now;
  auto picture = frame ? _scene->runFilterOnFrame(frame) : _scene->allocAndRenderABuffer();
  _answers = static_cast<bool>(picture);
  // Without an answer the latest picture may still be one that had been reported before the call.
  if (!_answers) return {still(), {}};
  return {std::move(picture), Clock::now() - now};
}

/// Forgets what has been reported, so that the next frame call waits for a fresh picture.
bool PictureStream::pictureReported() {
  const auto names = _scene->copyAndClearOutValPortNames();
  const auto& port = _composition ? _composition->runnerImageOutputPort() : nullptr;
  return port && std::find(names.begin(), names.end(), port->portName()) != names.end();
}

PictureStream::OutputTexts PictureStream::outputs() {
  OutputTexts texts;
  if (!_composition) return texts;
  for (const auto& port : _composition->publishedOutputPorts()) {
    if (port == _composition->runnerImageOutputPort()) continue;
    texts.emplace_back(port->portName(),
                       outputText(_scene->allocValueForOutputKey(port->portName())));
  }
  return texts;
}
