#include "host/Y4mHeader.h"

#include <algorithm>
#include <array>
#include <sstream>
#include <string_view>

#include "host/Failure.h"
#include "host/NumberFromText.h"

namespace {

constexpr std::size_t kLongestSide = 16384;

using Siting = YuvLayout::Siting;

struct Chroma {
  std::string_view name;
  unsigned depth, across, down;
  Siting siting = Siting::Left;
  bool isThere = true;
};
// A bare 420 is that of JPEG, as ffmpeg has it too; with more bits nobody means JPEG's.
constexpr std::array kChromas{
    Chroma{"420", 8, 1, 1, Siting::Center},
    Chroma{"420jpeg", 8, 1, 1, Siting::Center},
    Chroma{"420mpeg2", 8, 1, 1},
    Chroma{"420paldv", 8, 1, 1, Siting::TopLeft},
    Chroma{"422", 8, 1, 0},
    Chroma{"444", 8, 0, 0},
    Chroma{"mono", 8, 0, 0, Siting::Left, false},
    Chroma{"420p10", 10, 1, 1},
    Chroma{"422p10", 10, 1, 0},
    Chroma{"444p10", 10, 0, 0},
    Chroma{"mono10", 10, 0, 0, Siting::Left, false},
};

void parseChroma(const std::string& name, YuvLayout& layout) {
  const auto chroma = std::ranges::find(kChromas, name, &Chroma::name);
  if (chroma == kChromas.end()) {
    throw Failure{"a video in C" + name +
                  " is not understood; 8 and 10 bits in 420, 422, 444 or mono are"};
  }
  layout.depth = chroma->depth;
  layout.hasChroma = chroma->isThere;
  layout.chromaAcross = chroma->across;
  layout.chromaDown = chroma->down;
  layout.siting = chroma->siting;
}

std::size_t parseSide(const std::string& text) {
  const auto side = numberFromText<std::size_t>(text);
  if (!side || *side == 0) throw Failure{"the video names no size"};
  if (*side > kLongestSide) {
    throw Failure{"the video's frames are larger than " + std::to_string(kLongestSide) +
                  " pixels a side"};
  }
  return *side;
}

void parseParameter(char name, const std::string& value, Y4mHeader& header) {
  if (name == 'W') header.layout.width = parseSide(value);
  if (name == 'H') header.layout.height = parseSide(value);
  if (name == 'F') header.rate = FrameRate::fromText(value);
  if (name == 'C') parseChroma(value, header.layout);
  if (name == 'X' && value == "COLORRANGE=FULL") header.layout.isFullRange = true;
}

}  // namespace

Y4mHeader y4mHeaderFrom(const std::string& line) {
  std::istringstream words(line);
  std::string word;
  words >> word;
  if (word != "YUV4MPEG2") throw Failure{"standard input is no YUV4MPEG2 video"};
  Y4mHeader header;
  parseChroma("420", header.layout);
  while (words >> word) parseParameter(word[0], word.substr(1), header);
  if (header.layout.width == 0 || header.layout.height == 0)
    throw Failure{"the video names no size"};
  return header;
}

std::string y4mHeaderLine(std::size_t width, std::size_t height, const FrameRate& rate) {
  return "YUV4MPEG2 W" + std::to_string(width) + " H" + std::to_string(height) + " F" +
         rate.text() + " Ip A1:1 C444 XCOLORRANGE=LIMITED\n";
}
