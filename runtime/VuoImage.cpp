#include "runtime/VuoImage.h"

#include <epoxy/gl.h>
#include <json-c/json.h>

#include <stdexcept>

#include "runtime/ImagePixels.h"
#include "runtime/ImageRef.h"
#include "runtime/Limits.h"
#include "runtime/VuoHeapBlock.h"
#include "runtime/textures/ShareGroup.h"
#include "runtime/textures/TextureReader.h"

namespace {

VuoImage makeImage(const VuoImageRecord& record) {
  if (record.glTextureName == 0 || record.pixelsWide == 0 || record.pixelsHigh == 0) return nullptr;
  void* memory = vuo::newCounted(sizeof record, [](void* value) {
    const auto image = static_cast<VuoImage>(value);
    if (image->freeCallback != nullptr) image->freeCallback(image);
  });
  return new (memory) VuoImageRecord(record);
}

/// What stands behind a value that names an image. Tied to the value as its userdata, which no JSON
/// text can bring along.
struct Backing {
  vuo::ImageRef image;
  std::unique_ptr<vuo::SharedMemory> pixels;  ///< null where only this process reads the value
};

/// The member that these values, and no other values of ports, have; it carries the backing.
constexpr const char* markKey = "pointer";

const Backing* backingOf(json_object* value) {
  json_object* mark = nullptr;
  if (!json_object_is_type(value, json_type_object) ||
      !json_object_object_get_ex(value, markKey, &mark))
    return nullptr;
  return static_cast<const Backing*>(json_object_get_userdata(mark));
}

json_object* valueWith(std::unique_ptr<Backing> backing) {
  json_object* mark =
      json_object_new_uint64(reinterpret_cast<std::uintptr_t>(backing->image.get()));
  json_object_set_userdata(mark, backing.release(), [](json_object*, void* userdata) {
    delete static_cast<Backing*>(userdata);
  });
  json_object* value = json_object_new_object();
  json_object_object_add(value, markKey, mark);
  return value;
}

std::unique_ptr<vuo::SharedMemory> sharedPixelsOf(VuoImage image) {
  auto pixels =
      std::make_unique<vuo::SharedMemory>(vuo::pixelBytes(image->pixelsWide, image->pixelsHigh));
  bool read = false;
  vuo::ShareGroup::current()->withContext([&] { read = vuo::readPixels(image, pixels->bytes()); });
  if (!read) throw std::runtime_error("The image's texture can't be read");
  return pixels;
}

}  // namespace

std::size_t vuo::pixelBytes(std::uint64_t width, std::uint64_t height) {
  constexpr std::uint64_t most = largestPicture / 4;
  if (width == 0 || height == 0 || width > most / height)
    throw std::runtime_error("No picture may have " + std::to_string(width) + " by " +
                             std::to_string(height) + " pixels: the most is " +
                             std::to_string(most) + ", as in 8192 by 8192");
  return width * height * 4;
}

const vuo::SharedMemory* vuo::pixelsOfImageValue(json_object* value) {
  const Backing* backing = backingOf(value);
  return backing != nullptr ? backing->pixels.get() : nullptr;
}

VuoImage VuoImage_makeClientOwned(std::uint32_t textureName, std::uint32_t internalFormat,
                                  std::uint64_t width, std::uint64_t height,
                                  VuoImage_FreeCallback freeCallback, void* freeCallbackContext) {
  return makeImage({textureName, GL_TEXTURE_2D, internalFormat, width, height, freeCallback,
                    freeCallbackContext});
}

VuoImage VuoImage_makeClientOwnedGlTextureRectangle(std::uint32_t textureName,
                                                    std::uint32_t internalFormat,
                                                    std::uint64_t width, std::uint64_t height,
                                                    VuoImage_FreeCallback freeCallback,
                                                    void* freeCallbackContext) {
  return makeImage({textureName, GL_TEXTURE_RECTANGLE, internalFormat, width, height, freeCallback,
                    freeCallbackContext});
}

VuoImage VuoImage_makeFromJson(json_object* value) {
  const Backing* backing = backingOf(value);
  return backing != nullptr ? backing->image.get() : nullptr;
}

json_object* VuoImage_getJson(VuoImage image) {
  if (image == nullptr) return nullptr;
  return valueWith(std::make_unique<Backing>(Backing{vuo::ImageRef(image), nullptr}));
}

/// The value holds the image as well, so it serves a runner in this process too.
json_object* VuoImage_getInterprocessJson(VuoImage image) try {
  if (image == nullptr) return nullptr;
  auto pixels = sharedPixelsOf(image);
  const int descriptor = pixels->descriptor();
  json_object* value =
      valueWith(std::make_unique<Backing>(Backing{vuo::ImageRef(image), std::move(pixels)}));
  json_object_object_add(value, "width", json_object_new_uint64(image->pixelsWide));
  json_object_object_add(value, "height", json_object_new_uint64(image->pixelsHigh));
  json_object_object_add(value, "fd", json_object_new_int(descriptor));
  return value;
} catch (const std::runtime_error&) {
  return nullptr;
}
