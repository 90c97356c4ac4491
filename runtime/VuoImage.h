// The runtime's image: a GL texture with its size, counted with VuoRetain and VuoRelease.
#pragma once

#include <cstdint>

struct json_object;

struct VuoImageRecord;
using VuoImage = VuoImageRecord*;

/// Runs when an image is freed, with the image, on the thread that dropped its last reference.
using VuoImage_FreeCallback = void (*)(VuoImage image);

struct VuoImageRecord {
  std::uint32_t glTextureName;
  std::uint32_t glTextureTarget;  ///< GL_TEXTURE_2D or GL_TEXTURE_RECTANGLE
  std::uint32_t glInternalFormat;
  std::uint64_t pixelsWide;
  std::uint64_t pixelsHigh;
  VuoImage_FreeCallback freeCallback;
  void* freeCallbackContext;
};

/// A GL_TEXTURE_2D image over a texture that the runtime does not delete. Null when the texture
/// name or a dimension is 0. No GL call is made. The image comes without references.
VuoImage VuoImage_makeClientOwned(std::uint32_t textureName, std::uint32_t internalFormat,
                                  std::uint64_t width, std::uint64_t height,
                                  VuoImage_FreeCallback freeCallback, void* freeCallbackContext);
/// The same for GL_TEXTURE_RECTANGLE.
VuoImage VuoImage_makeClientOwnedGlTextureRectangle(std::uint32_t textureName,
                                                    std::uint32_t internalFormat,
                                                    std::uint64_t width, std::uint64_t height,
                                                    VuoImage_FreeCallback freeCallback,
                                                    void* freeCallbackContext);

/// The image that a value of this process names, without a reference of the caller's own; it lives
/// at least as long as the value. Null when the value names none.
VuoImage VuoImage_makeFromJson(json_object* value);
/// A value that names the image inside this process and holds a reference to it. The caller owns
/// the value; null for a null image.
json_object* VuoImage_getJson(VuoImage image);
/// The same for a runner in another process, which gets at the picture when the value is set: it
/// shares the texture where the two can, or reads it back.
json_object* VuoImage_getInterprocessJson(VuoImage image);
