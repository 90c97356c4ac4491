#include "runtime/graph/ImageFileNode.h"

#include <png.h>

#include <cstdio>
#include <memory>
#include <stdexcept>

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
    _image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_stdio(&_image, _file.get())) fail();
    _image.format = PNG_FORMAT_RGBA;
  }
  ~PngReader() { png_image_free(&_image); }
  PngReader(const PngReader&) = delete;
  PngReader& operator=(const PngReader&) = delete;

  std::uint64_t width() const { return _image.width; }
  std::uint64_t height() const { return _image.height; }

  std::vector<std::uint8_t> pixels() {
    std::vector<std::uint8_t> pixels(pixelBytes(width(), height()));
    const auto bottomRowFirst = -static_cast<png_int_32>(width() * 4);
    if (!png_image_finish_read(&_image, nullptr, pixels.data(), bottomRowFirst, nullptr)) fail();
    return pixels;
  }

 private:
  [[noreturn]] void fail() {
    const std::string why = _image.message;
    png_image_free(&_image);
    throw std::runtime_error(_name + " can't be read: " + why);
  }

  struct Close {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };

  const std::string _name;
  const std::unique_ptr<std::FILE, Close> _file;
  png_image _image{};
};

}  // namespace

Value ImageFileNode::run(const std::vector<Value>&) {
  PngReader file(_folder, _name);
  if (std::max(file.width(), file.height()) > _canvas.longestSide())
    throw std::runtime_error(_name + " is larger than any texture");
  return _canvas.imageOfPixels(file.width(), file.height(), file.pixels().data());
}

}  // namespace vuo
