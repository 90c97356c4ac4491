// The first line of YUV4MPEG2 video.
#pragma once

#include <optional>
#include <string>

#include "host/FrameRate.h"
#include "host/YuvLayout.h"

struct Y4mHeader {
  YuvLayout layout;
  std::optional<FrameRate> rate;
};

/// Throws Failure when the line is none, or its video is not understood.
Y4mHeader y4mHeaderFrom(const std::string& line);

/// The line, with its end, of a video of three planes of full size in 8 bits and video range.
std::string y4mHeaderLine(std::size_t width, std::size_t height, const FrameRate& rate);
