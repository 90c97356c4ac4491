#include "host/FrameSource.h"

#include "host/Failure.h"
#include "host/Picture.h"
#include "host/StandardInput.h"
#include "host/StopSignals.h"
#include "host/Y4mHeader.h"
#include "host/Yuv.h"

namespace {

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
  /// False at the end of the input; a part of what was asked for is a failure.
  bool readWhole(std::size_t size, std::vector<std::uint8_t>& bytes) {
    _input.read(size, bytes);
    if (stopSignal() != 0) return false;
    if (!bytes.empty() && bytes.size() != size) {
      throw Failure{"the video ends in the middle of a frame"};
    }
    return !bytes.empty();
  }

  StandardInput _input;
};

class RgbaStream : public VideoStream {
 public:
  RgbaStream(std::size_t width, std::size_t height) : _width(width), _height(height) {}

  std::optional<ZQPixels> next() override {
    ZQPixels picture{_width, _height, {}};
    if (!readWhole(4 * _width * _height, picture.rgba)) return std::nullopt;
    return picture;
  }

 private:
  const std::size_t _width;
  const std::size_t _height;
};

constexpr std::size_t kLongestLine = 4096;

class Y4mStream : public VideoStream {
 public:
  Y4mStream() : _header(y4mHeaderFrom(_input.readLine(kLongestLine))), _pictures(_header.layout) {}

  std::optional<ZQPixels> next() override {
    if (_input.hasEnded()) return std::nullopt;
    const std::string line = _input.readLine(kLongestLine);
    if (stopSignal() != 0) return std::nullopt;
    if (!line.starts_with("FRAME")) throw Failure{"the video has something between its frames"};
    if (readWhole(_header.layout.frameSize(), _planes)) return _pictures.pictureOf(_planes);
    if (stopSignal() != 0) return std::nullopt;
    throw Failure{"the video ends in the middle of a frame"};
  }
  std::optional<FrameRate> rate() const override { return _header.rate; }

 private:
  const Y4mHeader _header;
  PictureFromYuv _pictures;
  std::vector<std::uint8_t> _planes;
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
