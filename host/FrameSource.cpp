#include "host/FrameSource.h"

#include <cstdlib>
#include <sstream>

#include "host/Failure.h"
#include "host/Picture.h"
#include "host/StandardInput.h"
#include "host/StopSignals.h"
#include "host/Yuv.h"

namespace {

constexpr std::size_t kLongestSide = 16384;

class Pictures : public FrameSource {
 public:
  explicit Pictures(std::vector<std::string> files) : _files(std::move(files)) {}

  std::optional<ZQPixels> next() override {
    if (_next == _files.size()) return std::nullopt;
    std::string problem;
    auto picture = host::readPicture(_files[_next++], problem);
    if (!picture) throw Failure{problem};
    return picture;
  }
  int count() const override { return static_cast<int>(_files.size()); }

 private:
  const std::vector<std::string> _files;
  std::size_t _next = 0;
};

class VideoStream : public FrameSource {
 public:
  bool isReady() const override { return _input.isReady(); }

 protected:
  /// Empty at the end of the input; a part of what was asked for is a failure.
  std::vector<std::uint8_t> readWhole(std::size_t size) {
    auto bytes = _input.read(size);
    if (stopSignal() != 0) return {};
    if (!bytes.empty() && bytes.size() != size) {
      throw Failure{"the video ends in the middle of a frame"};
    }
    return bytes;
  }

  StandardInput _input;
};

class RgbaStream : public VideoStream {
 public:
  RgbaStream(std::size_t width, std::size_t height) : _width(width), _height(height) {}

  std::optional<ZQPixels> next() override {
    ZQPixels picture{_width, _height, readWhole(4 * _width * _height)};
    if (picture.rgba.empty()) return std::nullopt;
    return picture;
  }

 private:
  const std::size_t _width;
  const std::size_t _height;
};

constexpr std::size_t kLongestLine = 4096;

class Y4mStream : public VideoStream {
 public:
  Y4mStream() {
    std::istringstream head(_input.readLine(kLongestLine));
    std::string word;
    head >> word;
    if (word != "YUV4MPEG2") throw Failure{"standard input is no YUV4MPEG2 video"};
    while (head >> word) parseParameter(word[0], word.substr(1));
    if (_layout.width == 0 || _layout.height == 0) throw Failure{"the video names no size"};
    if (_layout.width > kLongestSide || _layout.height > kLongestSide) {
      throw Failure{"the video's frames are larger than " + std::to_string(kLongestSide) +
                    " pixels a side"};
    }
  }

  std::optional<ZQPixels> next() override {
    if (_input.hasEnded()) return std::nullopt;
    const std::string line = _input.readLine(kLongestLine);
    if (stopSignal() != 0) return std::nullopt;
    if (!line.starts_with("FRAME")) throw Failure{"the video has something between its frames"};
    const auto planes = readWhole(_layout.frameSize());
    if (stopSignal() != 0) return std::nullopt;
    if (planes.empty()) throw Failure{"the video ends in the middle of a frame"};
    return pictureFromYuv(planes, _layout);
  }
  std::optional<FrameRate> rate() const override { return _rate; }

 private:
  void parseParameter(char name, const std::string& value) {
    if (name == 'W') _layout.width = std::strtoull(value.c_str(), nullptr, 10);
    if (name == 'H') _layout.height = std::strtoull(value.c_str(), nullptr, 10);
    if (name == 'F') _rate = FrameRate::fromText(value);
    if (name == 'C') parseChroma(value);
    if (name == 'X' && value == "COLORRANGE=FULL") _layout.isFullRange = true;
  }

  void parseChroma(const std::string& value) {
    if (value == "mono") {
      _layout.hasChroma = false;
    } else if (value == "444") {
      _layout.chromaAcross = _layout.chromaDown = 1;
    } else if (value == "422") {
      _layout.chromaDown = 1;
    } else if (value != "420" && value != "420jpeg" && value != "420mpeg2" && value != "420paldv") {
      throw Failure{"a video in C" + value + " is not understood; 8 bits in 420, 422 or 444 are"};
    }
  }

  YuvLayout _layout;
  std::optional<FrameRate> _rate;
};

}  // namespace

std::unique_ptr<FrameSource> picturesFrom(std::vector<std::string> files) {
  return std::make_unique<Pictures>(std::move(files));
}

std::unique_ptr<FrameSource> videoFromStandardInput(VideoFormat format, std::size_t width,
                                                    std::size_t height) {
  if (format == VideoFormat::Y4m) return std::make_unique<Y4mStream>();
  if (width == 0 || height == 0) {
    throw Failure{"--format rgba: bare pixels from standard input need --size WxH"};
  }
  return std::make_unique<RgbaStream>(width, height);
}
