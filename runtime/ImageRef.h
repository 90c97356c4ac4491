#pragma once

#include <utility>

#include "runtime/VuoHeap.h"
#include "runtime/VuoImage.h"

namespace vuo {

/// A reference to an image, given up with the object. May hold none.
class ImageRef {
 public:
  ImageRef() = default;
  explicit ImageRef(VuoImage image) : _image(image) { VuoRetain(image); }
  ImageRef(const ImageRef& other) : ImageRef(other._image) {}
  ImageRef(ImageRef&& other) noexcept : _image(std::exchange(other._image, nullptr)) {}
  ~ImageRef() { VuoRelease(_image); }
  ImageRef& operator=(ImageRef other) noexcept {
    std::swap(_image, other._image);
    return *this;
  }

  VuoImage get() const { return _image; }
  VuoImage operator->() const { return _image; }
  explicit operator bool() const { return _image != nullptr; }

 private:
  VuoImage _image = nullptr;
};

}  // namespace vuo
