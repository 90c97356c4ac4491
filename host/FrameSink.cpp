#include "host/FrameSink.h"

#include <iostream>
#include <optional>

#include "host/Failure.h"
#include "host/FramePattern.h"
#include "host/Picture.h"
#include "host/PictureSequence.h"
#include "host/StandardOutput.h"
#include "host/Y4mHeader.h"
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

class VideoSink : public FrameSink {
 public:
  std::string write(const ZQPixels& picture, int index, int) override {
    const std::string size = sizeText(picture);
    if (index == 1) {
      _size = size;
      begin(picture);
    }
    const std::string frame = "frame " + std::to_string(index);
    if (size != _size) throw Failure{frame + " is " + size + ", and the video is not"};
    putFrame(picture);
    flushStandardOutput();
    return frame + "  " + size;
  }

 protected:
  virtual void begin(const ZQPixels&) {}
  virtual void putFrame(const ZQPixels& picture) = 0;

 private:
  std::string _size;
};

class RgbaVideo : public VideoSink {
  void putFrame(const ZQPixels& picture) override { put(picture.rgba); }
};

class Y4mVideo : public VideoSink {
 public:
  explicit Y4mVideo(FrameRate rate) : _rate(rate) {}

  std::string loss() override {
    if (_isLossTold || !_planes->hadAlpha()) return {};
    _isLossTold = true;
    return "the picture is transparent in places, which this video can't hold: its colors are "
           "kept, its alpha is not (--format rgba has both)";
  }

 private:
  void begin(const ZQPixels& picture) override {
    _planes.emplace(picture.width, picture.height);
    put(y4mHeaderLine(picture.width, picture.height, _rate));
  }
  void putFrame(const ZQPixels& picture) override {
    put(std::string("FRAME\n"));
    put(_planes->planesOf(picture));
  }

  const FrameRate _rate;
  std::optional<YuvFromPicture> _planes;
  bool _isLossTold = false;
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
  if (format == VideoFormat::Rgba) return std::make_unique<RgbaVideo>();
  return std::make_unique<Y4mVideo>(rate);
}
