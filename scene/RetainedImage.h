#pragma once

#include "platform/runtime/VuoHeap.h"
#include "platform/runtime/VuoImage.h"

/// Holds one reference to a runtime image for a scope; the image may be null.
class RetainedImage {
 public:
  explicit RetainedImage(VuoImage image) : _image(image) {
    if (_image) VuoRetain(_image);
  }
  ~RetainedImage() {
    if (_image) VuoRelease(_image);
  }
  RetainedImage(const RetainedImage&) = delete;
  RetainedImage& operator=(const RetainedImage&) = delete;

  VuoImage get() const { return _image; }

 private:
  VuoImage _image;
};
