#include "platform/runtime/graph/ImageFileNode.h"

#include <png.h>

#include <filesystem>
#include <memory>
#include <stdexcept>

#include "platform/runtime/ImagePixels.h"
#include "platform/runtime/graph/Canvas.h"

namespace vuo {
namespace {

/// Reads a PNG to 8-bit red, green, blue and alpha, bottom row first.
class PngReader {
 public:
  explicit PngReader(const std::string& path) : _path(path) {
    std::error_code ignored;
    // Anything but a regular file could keep the composition waiting for ever.
    if (!std::filesystem::is_regular_file(path, ignored))
      throw std::runtime_error("there is no file " + path);
    _image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&_image, path.c_str())) fail();
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
    throw std::runtime_error(_path + " can't be read: " + why);
  }

  const std::string _path;
  png_image _image{};
};

}  // namespace

Value ImageFileNode::run(const std::vector<Value>&) {
  PngReader file(_path);
  if (std::max(file.width(), file.height()) > _canvas.longestSide())
    throw std::runtime_error(_path + " is larger than any texture");
  return _canvas.imageOfPixels(file.width(), file.height(), file.pixels().data());
}

}  // namespace vuo
