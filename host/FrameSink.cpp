#include "host/FrameSink.h"

#include <iostream>

#include "host/Failure.h"
#include "host/FramePattern.h"
#include "host/Picture.h"
#include "host/PictureSequence.h"
#include "host/StandardOutput.h"
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
      throw Failure{"can't write " + problem};
    }
    return file + "  " + sizeText(picture);
  }

 private:
  const std::string _pattern;
};

template <class Bytes>
void put(const Bytes& bytes) {
  std::cout.write(reinterpret_cast<const char*>(bytes.data()),
                  static_cast<std::streamsize>(bytes.size()));
}

class VideoStream : public FrameSink {
 public:
  VideoStream(VideoFormat format, FrameRate rate) : _format(format), _rate(rate) {}

  std::string write(const ZQPixels& picture, int index, int) override {
    if (index == 1) begin(picture);
    if (picture.width != _width || picture.height != _height) {
      throw Failure{"frame " + std::to_string(index) + " is " + sizeText(picture) +
                    ", and the video is not"};
    }
    if (_format == VideoFormat::Y4m) {
      put(std::string("FRAME\n"));
      put(yuv444From(picture));
    } else {
      put(picture.rgba);
    }
    flushStandardOutput();
    return "frame " + std::to_string(index) + "  " + sizeText(picture);
  }

 private:
  void begin(const ZQPixels& picture) {
    _width = picture.width;
    _height = picture.height;
    if (_format != VideoFormat::Y4m) return;
    put("YUV4MPEG2 W" + std::to_string(_width) + " H" + std::to_string(_height) + " F" +
        _rate.text() + " Ip A1:1 C444\n");
  }

  const VideoFormat _format;
  const FrameRate _rate;
  std::size_t _width = 0;
  std::size_t _height = 0;
};

}  // namespace

std::unique_ptr<FrameSink> pictureFiles(std::string pattern) {
  if (!isPictureName(pattern)) {
    throw Failure{"-o " + pattern +
                  " names no PNG file: a name such as frame.png or frame-%04d.png does, and - "
                  "writes video to standard output"};
  }
  return std::make_unique<PictureFiles>(std::move(pattern));
}

std::unique_ptr<FrameSink> videoToStandardOutput(VideoFormat format, FrameRate rate) {
  return std::make_unique<VideoStream>(format, rate);
}
