#include "host/PixelSize.h"

#include "host/Failure.h"
#include "host/NumberFromText.h"
#include "host/ShortestDigits.h"

namespace {

/// 0 when the text is no sensible number of pixels.
int pixelsFrom(const std::string& text) {
  constexpr int kMost = 1'000'000;  // what can be drawn is for the driver to say
  const int pixels = numberFromText<int>(text).value_or(0);
  return pixels > 0 && pixels <= kMost ? pixels : 0;
}

}  // namespace

ZQSize sizeFromText(const std::string& text) {
  const auto cross = text.find_first_of("xX");
  const int width = pixelsFrom(text.substr(0, cross));
  const int height = cross == std::string::npos ? 0 : pixelsFrom(text.substr(cross + 1));
  if (width == 0 || height == 0) {
    throw Failure{"--size " + text + ": needs a size such as 640x360"};
  }
  return {static_cast<double>(width), static_cast<double>(height)};
}

std::string textFromSize(ZQSize size) {
  return shortestDigits(size.width) + "x" + shortestDigits(size.height);
}
