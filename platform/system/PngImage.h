#pragma once

#include <png.h>

#include <cstdint>

namespace platform {

/// libpng's record of one picture, freed whichever way its user leaves. It is begun by libpng's own
/// functions, and tells of a fault in `message`.
struct PngImage : png_image {
  PngImage() : png_image{} { version = PNG_IMAGE_VERSION; }
  ~PngImage() { png_image_free(this); }
  PngImage(const PngImage&) = delete;
  PngImage& operator=(const PngImage&) = delete;

  /// Reads the pixels of a picture that is begun, as 8-bit red, green, blue and alpha, to where
  /// there is room for width × height × 4 bytes. What names no gamma is taken for sRGB, whatever
  /// its depth. False when the picture is damaged.
  bool readPixels(std::uint8_t* rgba, bool bottomRowFirst) {
    format = PNG_FORMAT_RGBA;
    flags |= PNG_IMAGE_FLAG_16BIT_sRGB;  // else 16 bits would be linear light
    const auto rowBytes = static_cast<png_int_32>(PNG_IMAGE_ROW_STRIDE(*this));
    return png_image_finish_read(this, nullptr, rgba, bottomRowFirst ? -rowBytes : rowBytes,
                                 nullptr) != 0;
  }
};

}  // namespace platform
