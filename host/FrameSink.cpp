#include "host/FrameSink.h"

#include <cmath>
#include <cstdio>
#include <optional>

#include "host/Failure.h"
#include "host/FramePattern.h"
#include "host/Picture.h"
#include "host/Yuv.h"

namespace {

std::string sizeText(const ZQPixels& picture) {
  return std::to_string(picture.width) + "x" + std::to_string(picture.height);
}

class PictureFiles : public FrameSink {
 public:
  explicit PictureFiles(std::string pattern) : _pattern(std::move(pattern)) {}

  std::string write(const ZQPixels& picture, int index, int count) override {
    const std::string file = frameFile(_pattern, index, count);
    std::string problem;
    if (!host::writePicture(picture, file, problem)) {
      throw Failure{"can't write " + file + ": " + problem};
    }
    return file + "  " + sizeText(picture);
  }

 private:
  const std::string _pattern;
};

void put(const void* bytes, std::size_t size) {
  if (std::fwrite(bytes, 1, size, stdout) != size) throw ReaderGone{};
}

class VideoStream : public FrameSink {
 public:
  VideoStream(VideoFormat format, double fps) : _format(format), _fps(fps) {}

  std::string write(const ZQPixels& picture, int index, int) override {
    if (index == 1) begin(picture);
    if (picture.width != _width || picture.height != _height) {
      throw Failure{"frame " + std::to_string(index) + " is " + sizeText(picture) +
                    ", and the video is not"};
    }
    if (_format == VideoFormat::Y4m) {
      put("FRAME\n", 6);
      const auto planes = yuv444From(picture);
      put(planes.data(), planes.size());
    } else {
      put(picture.rgba.data(), picture.rgba.size());
    }
    if (std::fflush(stdout) != 0) throw ReaderGone{};
    return "frame " + std::to_string(index) + "  " + sizeText(picture);
  }

 private:
  void begin(const ZQPixels& picture) {
    _width = picture.width;
    _height = picture.height;
    if (_format != VideoFormat::Y4m) return;
    const bool isWhole = _fps == std::floor(_fps);
    const std::string rate = isWhole ? std::to_string(std::lround(_fps)) + ":1"
                                     : std::to_string(std::lround(_fps * 1000)) + ":1000";
    const std::string head = "YUV4MPEG2 W" + std::to_string(_width) + " H" +
                             std::to_string(_height) + " F" + rate + " Ip A1:1 C444\n";
    put(head.data(), head.size());
  }

  const VideoFormat _format;
  const double _fps;
  std::size_t _width = 0;
  std::size_t _height = 0;
};

}  // namespace

std::unique_ptr<FrameSink> pictureFiles(std::string pattern) {
  return std::make_unique<PictureFiles>(std::move(pattern));
}

std::unique_ptr<FrameSink> videoToStandardOutput(VideoFormat format, double fps) {
  return std::make_unique<VideoStream>(format, fps);
}
