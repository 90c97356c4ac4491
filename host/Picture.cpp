#include "host/Picture.h"

#include <string_view>

#include "platform/system/FileSystem.h"
#include "platform/system/PngImage.h"

namespace host {
namespace {

/// A guard against files that claim to be huge; no larger picture fits into a texture.
constexpr std::size_t kLongestSide = 16384;
constexpr std::size_t kBytesPerPixel = 4;
constexpr std::size_t kLargestFile = std::size_t{1} << 30;

bool isReasonable(std::size_t width, std::size_t height) {
  return width > 0 && width <= kLongestSide && height > 0 && height <= kLongestSide;
}

/// The PNG file's bytes; empty on failure, with libpng's message in the image.
std::string encoded(const ZQPixels& pixels, platform::PngImage& image) {
  image.width = static_cast<png_uint_32>(pixels.width);
  image.height = static_cast<png_uint_32>(pixels.height);
  image.format = PNG_FORMAT_RGBA;
  png_alloc_size_t size = PNG_IMAGE_PNG_SIZE_MAX(image);
  std::string file(size, '\0');
  const int written =
      png_image_write_to_memory(&image, file.data(), &size, 0, pixels.rgba.data(), 0, nullptr);
  file.resize(written ? size : 0);
  return file;
}

}  // namespace

std::optional<ZQPixels> readPicture(const std::string& path, std::string& error) {
  platform::ReadFailure failure;
  const auto file = platform::readFile(path, kLargestFile, &failure);
  if (!file) {
    error = path + ": can't be read as a PNG picture: " + failure.text;
    return std::nullopt;
  }
  platform::PngImage image;
  if (!png_image_begin_read_from_memory(&image, file->data(), file->size())) {
    error = path + ": can't be read as a PNG picture: " + image.message;
    return std::nullopt;
  }
  if (!isReasonable(image.width, image.height)) {
    error =
        path + ": the picture is larger than " + std::to_string(kLongestSide) + " pixels a side";
    return std::nullopt;
  }
  ZQPixels pixels{image.width, image.height, {}};
  pixels.rgba.resize(pixels.width * pixels.height * kBytesPerPixel);
  if (!image.readPixels(pixels.rgba.data(), false)) {
    error = path + ": the PNG picture is damaged: " + image.message;
    return std::nullopt;
  }
  return pixels;
}

bool writePicture(const ZQPixels& pixels, const std::string& path, std::string& error) {
  if (!isReasonable(pixels.width, pixels.height) ||
      pixels.rgba.size() != pixels.width * pixels.height * kBytesPerPixel) {
    error = path + ": there is no picture to write";
    return false;
  }
  platform::PngImage image;
  const std::string file = encoded(pixels, image);
  if (file.empty()) {
    error = path + ": the picture can't be encoded: " + image.message;
    return false;
  }
  std::string reason;
  if (platform::writeFileAtomically(path, file, &reason)) return true;
  error = path + ": " + reason;
  return false;
}

}  // namespace host
