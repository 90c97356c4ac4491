#include "host/view/PictureStream.h"

#include <cstdio>

#include "host/ValueText.h"

namespace {

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

std::string imageText(const ZQBufferRef& image) {
  const ZQSize size = image->size();
  return std::to_string(static_cast<int>(size.width)) + " × " +
         std::to_string(static_cast<int>(size.height));
}

}  // namespace

std::string PictureStream::Made::problem() const {
  const bool isCompositions =
      frame.reason == VuoFrame::Reason::NodeFailed || frame.reason == VuoFrame::Reason::NoPicture;
  return isCompositions ? frame.message : "";
}

PictureStream::PictureStream(std::shared_ptr<VuoGLScene> scene)
    : _scene(std::move(scene)), _composition(_scene->comp()) {}

PictureStream::Made PictureStream::next(const VuoFrameRequest& request,
                                        VuoGLScene::Patience longest) {
  if (!_asked) {
    _askedAt = Clock::now();
    _asked = _scene->askForFrame(request);
  }
  VuoFrame frame = _scene->takeFrame(_asked, longest);
  if (frame.answer != VuoFrame::Answer::Late) _asked.reset();
  return {std::move(frame), Clock::now() - _askedAt};
}

PictureStream::OutputTexts PictureStream::outputs(const VuoFrame& frame) const {
  OutputTexts texts;
  if (!_composition) return texts;
  for (const auto& port : _composition->publishedOutputPorts()) {
    if (port == _composition->runnerImageOutputPort()) continue;
    const std::string& name = port->portName();
    if (const auto value = frame.output(name)) {
      texts.emplace_back(name, briefly(*value));
    } else {
      const auto image = _scene->allocValueForOutputKey(name).buffer;
      texts.emplace_back(name, image ? imageText(image) : "–");
    }
  }
  return texts;
}
