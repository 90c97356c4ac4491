// Where a filter's pictures come from.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Brannow/ZQBufferPool.h"
#include "host/FrameSink.h"

class FrameSource {
 public:
  virtual ~FrameSource() = default;
  /// None after the last one, or when the user asked the program to stop. Throws Failure when a
  /// picture can't be read.
  virtual std::optional<ZQPixels> next() = 0;
  /// Whether `next` will not wait for somebody who makes the pictures.
  virtual bool isReady() const { return true; }
  /// How many pictures there are; 0 where nobody knows.
  virtual int count() const { return 0; }
  /// The rate that the source itself names.
  virtual std::optional<FrameRate> rate() const { return std::nullopt; }
};

std::unique_ptr<FrameSource> picturesFrom(std::vector<std::string> files);
/// Video on standard input: YUV4MPEG2 with 8 or 10 bits, or bare RGBA pixels of the given size.
/// Throws Failure when it is neither.
std::unique_ptr<FrameSource> videoFromStandardInput(VideoFormat format, std::size_t width,
                                                    std::size_t height);
