#include "platform/runtime/VuoImage.h"

#include <json-c/json.h>

#include <memory>
#include <new>
#include <stdexcept>
#include <string>

#include "platform/runtime/ImagePixels.h"
#include "platform/runtime/VuoHeap.h"
#include "platform/runtime/VuoHeapBlock.h"
#include "platform/runtime/textures/ShareGroup.h"
#include "platform/runtime/textures/TextureReader.h"

namespace {

constexpr std::uint32_t kTexture2D = 0x0DE1;
constexpr std::uint32_t kTextureRectangle = 0x84F5;
constexpr std::uint64_t kLongestSide = 1u << 15;

void destroyImage(void* value) {
  const auto image = static_cast<VuoImage>(value);
  if (image->freeCallback) image->freeCallback(image);
}

VuoImage makeImage(const VuoImageRecord& record) {
  if (record.glTextureName == 0 || record.pixelsWide == 0 || record.pixelsHigh == 0) return nullptr;
  return new (vuo::newCounted(sizeof record, destroyImage)) VuoImageRecord(record);
}

/// What stands behind a value that names an image in this process, or pixels for another one. Tied
/// to the value as its userdata, which no JSON text can bring along.
struct Backing {
  VuoImage image = nullptr;
  std::unique_ptr<vuo::SharedMemory> pixels;
  ~Backing() { VuoRelease(image); }
};

void deleteBacking(json_object*, void* backing) {
  delete static_cast<Backing*>(backing);
}

const Backing* backingOf(json_object* value) {
  if (!json_object_is_type(value, json_type_object)) return nullptr;
  json_object* mark = nullptr;
  if (!json_object_object_get_ex(value, "image", &mark)) return nullptr;
  return static_cast<const Backing*>(json_object_get_userdata(mark));
}

json_object* valueWith(std::unique_ptr<Backing> backing, std::uint64_t width,
                       std::uint64_t height) {
  json_object* mark = json_object_new_boolean(true);
  json_object_set_userdata(mark, backing.release(), deleteBacking);
  json_object* value = json_object_new_object();
  json_object_object_add(value, "image", mark);
  json_object_object_add(value, "width", json_object_new_int64(static_cast<std::int64_t>(width)));
  json_object_object_add(value, "height", json_object_new_int64(static_cast<std::int64_t>(height)));
  return value;
}

std::unique_ptr<vuo::SharedMemory> sharedPixelsOf(VuoImage image) {
  auto pixels =
      std::make_unique<vuo::SharedMemory>(vuo::pixelBytes(image->pixelsWide, image->pixelsHigh));
  bool read = false;
  const auto group = vuo::ShareGroup::current();
  group->withContext([&] { read = vuo::readPixels(image, pixels->bytes()); });
  return read ? std::move(pixels) : nullptr;
}

}  // namespace

namespace vuo {

std::size_t pixelBytes(std::uint64_t width, std::uint64_t height) {
  if (width == 0 || height == 0 || width > kLongestSide || height > kLongestSide) {
    throw std::runtime_error("no picture is " + std::to_string(width) + "x" +
                             std::to_string(height) + " pixels large");
  }
  return static_cast<std::size_t>(width * height * 4);
}

const SharedMemory* pixelsOfImageValue(json_object* value) {
  const Backing* backing = backingOf(value);
  return backing ? backing->pixels.get() : nullptr;
}

}  // namespace vuo

VuoImage VuoImage_makeClientOwned(std::uint32_t textureName, std::uint32_t internalFormat,
                                  std::uint64_t width, std::uint64_t height,
                                  VuoImage_FreeCallback freeCallback, void* freeCallbackContext) {
  return makeImage(
      {textureName, kTexture2D, internalFormat, width, height, freeCallback, freeCallbackContext});
}

VuoImage VuoImage_makeClientOwnedGlTextureRectangle(std::uint32_t textureName,
                                                    std::uint32_t internalFormat,
                                                    std::uint64_t width, std::uint64_t height,
                                                    VuoImage_FreeCallback freeCallback,
                                                    void* freeCallbackContext) {
  return makeImage({textureName, kTextureRectangle, internalFormat, width, height, freeCallback,
                    freeCallbackContext});
}

VuoImage VuoImage_makeFromJson(json_object* value) {
  const Backing* backing = backingOf(value);
  return backing ? backing->image : nullptr;
}

json_object* VuoImage_getJson(VuoImage image) {
  if (!image) return nullptr;
  auto backing = std::make_unique<Backing>();
  backing->image = image;
  VuoRetain(image);
  return valueWith(std::move(backing), image->pixelsWide, image->pixelsHigh);
}

json_object* VuoImage_getInterprocessJson(VuoImage image) try {
  if (!image) return nullptr;
  auto backing = std::make_unique<Backing>();
  backing->pixels = sharedPixelsOf(image);
  if (!backing->pixels) return nullptr;
  return valueWith(std::move(backing), image->pixelsWide, image->pixelsHigh);
} catch (const std::runtime_error&) {
  return nullptr;
}
