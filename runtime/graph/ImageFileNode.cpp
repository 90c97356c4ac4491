#include "runtime/graph/ImageFileNode.h"

#include <cstdio>
#include <memory>
#include <stdexcept>

#include "platform/system/PngImage.h"
#include "runtime/ImagePixels.h"
#include "runtime/NamedFile.h"
#include "runtime/graph/Canvas.h"

namespace vuo {
namespace {

/// Reads a PNG to 8-bit red, green, blue and alpha, bottom row first.
class PngReader {
 public:
  PngReader(const std::string& folder, const std::string& name)
      : _name(name), _file(fdopen(openNamedFile(folder, name).release(), "rb")) {
    if (!_file) throw std::runtime_error(_name + " can't be read");
    if (!png_image_begin_read_from_stdio(&_image, _file.get())) fail();
  }

  std::uint64_t width() const { return _image.width; }
  std::uint64_t height() const { return _image.height; }

  std::vector<std::uint8_t> pixels() {
    std::vector<std::uint8_t> pixels(pixelBytes(width(), height()));
    if (!_image.readPixels(pixels.data(), true)) fail();
    return pixels;
  }

 private:
  [[noreturn]] void fail() const {
    throw std::runtime_error(_name + " can't be read: " + _image.message);
  }

  struct Close {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };

  const std::string _name;
  const std::unique_ptr<std::FILE, Close> _file;
  platform::PngImage _image;
};

}  // namespace

Value ImageFileNode::run(const std::vector<Value>&) {
  PngReader file(_folder, _name);
  if (std::max(file.width(), file.height()) > _canvas.longestSide())
    throw std::runtime_error(_name + " is larger than any texture");
  return _canvas.imageOfPixels(file.width(), file.height(), file.pixels().data());
}

}  // namespace vuo
