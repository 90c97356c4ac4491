// Where a command's pictures go.
#pragma once

#include <memory>
#include <string>

#include "Brannow/ZQBufferPool.h"
#include "host/FrameRate.h"

class FrameSink {
 public:
  virtual ~FrameSink() = default;
  /// Writes the picture of frame `index`, from 1, of `count`, which is 0 where nobody knows; whole,
  /// when it returns. The result tells people what was written. Throws Failure when it can't be
  /// written, ReaderGone when nobody wants the video any more.
  virtual std::string write(const ZQPixels& picture, int index, int count) = 0;
  /// What of the picture just written has been lost, told once; else empty.
  virtual std::string loss() { return {}; }
};

enum class VideoFormat { Y4m, Rgba };

/// PNG files, named by a pattern. Throws Failure when it names no PNG file.
std::unique_ptr<FrameSink> pictureFiles(std::string pattern);
/// Video on standard output: YUV4MPEG2 (4:4:4, video range, BT.709 from 720 lines up, else BT.601),
/// or bare RGBA pixels. All frames must have the first one's size.
std::unique_ptr<FrameSink> videoToStandardOutput(VideoFormat format, FrameRate rate);
