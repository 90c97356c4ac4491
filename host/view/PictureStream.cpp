#include "host/view/PictureStream.h"

#include <algorithm>
#include <cstdio>
#include <thread>

#include "host/ValueText.h"

namespace {

/// A composition that did not answer is busy, or its picture does not follow the time. It is asked
/// again only after a while, so that frames never pile up in it; what it makes meanwhile is shown.
constexpr std::chrono::seconds kPatience{2};

constexpr double kFramesOfPatience = 3;
constexpr std::chrono::duration<double> kLeastPatience{0.004};
constexpr std::chrono::duration<double> kLongestFrame{0.5};
constexpr std::chrono::microseconds kBetweenLooks{500};
constexpr int kEnoughToKnow = 8;

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
  const bool isReported = pictureReported();
  const bool cameLate = isReported && !_answers;
  if (isReported && !cameLate && _owed > 0) --_owed;
  const auto now = Clock::now();
  if (cameLate) {
    _answers = true;
    return {still(), now - _asked};
  }
  if (!_answers && now - _asked < kPatience) return {};
  settle();
  _asked = Clock::now();
  auto made = answer(frame);
  _answers = static_cast<bool>(made.picture);
  // Without an answer the latest picture may still be one that had been reported before the call.
  if (!_answers) return {still(), {}};
  _lastTook = made.took;
  return made;
}

void PictureStream::settle() {
  while (_owed > 0) {
    if (!awaitPicture(kFramesOfPatience * _lastTook + kLeastPatience)) {
      _owed = 0;  // those events reached no picture, or shared one with others
    } else {
      --_owed;
    }
  }
}

PictureStream::Made PictureStream::answer(const ZQBufferRef& frame) {
  const auto start = Clock::now();
  if (!frame) {
    auto picture = _scene->allocAndRenderABuffer();
    return {std::move(picture), Clock::now() - start};
  }
  auto picture = _scene->runFilterOnFrame(frame);
  const std::chrono::duration<double> took = Clock::now() - start;
  const bool isTold = _composition && _composition->runnerTimePort();
  if (!picture || !isTold || _framesWithoutSecond >= kEnoughToKnow)
    return {std::move(picture), took};
  // The time's picture comes first and has the frame of before.
  pictureReported();
  if (awaitPicture(kFramesOfPatience * took + kLeastPatience)) {
    _framesWithoutSecond = 0;
    return {still(), Clock::now() - start};
  }
  ++_framesWithoutSecond;
  return {still(), took};  // both may have come at once
}

/// Looks again and again, since only frame calls wait for a report, and they send events as well.
bool PictureStream::awaitPicture(std::chrono::duration<double> longest) {
  const auto end = Clock::now() + std::min<std::chrono::duration<double>>(longest, kLongestFrame);
  while (!pictureReported()) {
    if (Clock::now() >= end) return false;
    std::this_thread::sleep_for(kBetweenLooks);
  }
  return true;
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
