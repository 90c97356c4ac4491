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

/// The member that these values, and no other values of ports, have. It carries the image as its
/// userdata, which no JSON text can bring along.
constexpr const char* markKey = "pointer";

}  // namespace

std::size_t vuo::pixelBytes(std::uint64_t width, std::uint64_t height) {
  constexpr std::uint64_t most = largestPicture / 4;
  if (width == 0 || height == 0 || width > most / height)
    throw std::runtime_error("No picture may have " + std::to_string(width) + " by " +
                             std::to_string(height) + " pixels: the most is " +
                             std::to_string(most) + ", as in 8192 by 8192");
  return width * height * 4;
}

std::unique_ptr<platform::SharedMemory> vuo::sharedPixelsOf(VuoImage image) {
  auto pixels =
      std::make_unique<platform::SharedMemory>(pixelBytes(image->pixelsWide, image->pixelsHigh));
  bool read = false;
  ShareGroup::current()->withContext([&] { read = readPixels(image, pixels->bytes()); });
  if (!read) throw std::runtime_error("The image's texture can't be read");
  return pixels;
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
  json_object* mark = nullptr;
  if (!json_object_is_type(value, json_type_object) ||
      !json_object_object_get_ex(value, markKey, &mark))
    return nullptr;
  const auto* image = static_cast<const vuo::ImageRef*>(json_object_get_userdata(mark));
  return image != nullptr ? image->get() : nullptr;
}

json_object* VuoImage_getJson(VuoImage image) {
  if (image == nullptr) return nullptr;
  json_object* mark = json_object_new_uint64(reinterpret_cast<std::uintptr_t>(image));
  json_object_set_userdata(mark, new vuo::ImageRef(image), [](json_object*, void* userdata) {
    delete static_cast<vuo::ImageRef*>(userdata);
  });
  json_object* value = json_object_new_object();
  json_object_object_add(value, markKey, mark);
  return value;
}

json_object* VuoImage_getInterprocessJson(VuoImage image) {
  return VuoImage_getJson(image);
}
