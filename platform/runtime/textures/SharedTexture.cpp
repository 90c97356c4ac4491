#include "platform/runtime/textures/SharedTexture.h"

#include <epoxy/egl.h>
#include <epoxy/gl.h>

#include <initializer_list>
#include <vector>

#include "platform/runtime/ImagePixels.h"
#include "platform/runtime/textures/TexturePool.h"

namespace vuo {
namespace {

/// Stands for a layout that only the driver knows.
constexpr std::uint64_t unknownModifier = 0x00ffffffffffffff;

bool has(std::initializer_list<const char*> extensions) {
  for (const char* extension : extensions)
    if (!epoxy_has_egl_extension(eglGetCurrentDisplay(), extension)) return false;
  return true;
}

/// An image that stands between a texture and its memory; neither needs it afterwards.
struct EglImage {
  EGLImageKHR image;
  ~EglImage() {
    if (image != EGL_NO_IMAGE_KHR) eglDestroyImageKHR(eglGetCurrentDisplay(), image);
  }
};

std::optional<ExportedTexture> exported(EGLImageKHR image, const VuoImageRecord& texture) {
  const EGLDisplay display = eglGetCurrentDisplay();
  int format = 0, planes = 0;
  EGLuint64KHR modifier = 0;  // one for each plane
  if (!eglExportDMABUFImageQueryMESA(display, image, &format, &planes, nullptr) || planes != 1 ||
      !eglExportDMABUFImageQueryMESA(display, image, nullptr, nullptr, &modifier))
    return std::nullopt;
  int descriptor = -1;
  EGLint stride = 0, offset = 0;
  if (!eglExportDMABUFImageMESA(display, image, &descriptor, &stride, &offset) || descriptor < 0)
    return std::nullopt;
  return ExportedTexture{
      FileDescriptor(descriptor),
      {texture.pixelsWide, texture.pixelsHigh, static_cast<std::uint32_t>(format), modifier,
       static_cast<std::uint32_t>(stride), static_cast<std::uint32_t>(offset)}};
}

std::vector<EGLint> attributesOf(const TextureLayout& layout, int descriptor) {
  const auto low = [](std::uint64_t number) {
    return static_cast<EGLint>(static_cast<std::uint32_t>(number));
  };
  std::vector<EGLint> attributes{EGL_WIDTH,
                                 low(layout.width),
                                 EGL_HEIGHT,
                                 low(layout.height),
                                 EGL_LINUX_DRM_FOURCC_EXT,
                                 low(layout.format),
                                 EGL_DMA_BUF_PLANE0_FD_EXT,
                                 descriptor,
                                 EGL_DMA_BUF_PLANE0_OFFSET_EXT,
                                 low(layout.offset),
                                 EGL_DMA_BUF_PLANE0_PITCH_EXT,
                                 low(layout.stride)};
  if (layout.modifier != unknownModifier && has({"EGL_EXT_image_dma_buf_import_modifiers"}))
    attributes.insert(attributes.end(),
                      {EGL_DMA_BUF_PLANE0_MODIFIER_LO_EXT, low(layout.modifier),
                       EGL_DMA_BUF_PLANE0_MODIFIER_HI_EXT, low(layout.modifier >> 32)});
  attributes.push_back(EGL_NONE);
  return attributes;
}

/// A texture over the image's memory, or 0.
GLuint textureOver(EGLImageKHR image) {
  while (glGetError() != GL_NO_ERROR) {
  }
  GLuint name = 0;
  glGenTextures(1, &name);
  glBindTexture(GL_TEXTURE_2D, name);
  glEGLImageTargetTexture2DOES(GL_TEXTURE_2D, image);
  sampleLikeAPicture();
  glBindTexture(GL_TEXTURE_2D, 0);
  if (glGetError() == GL_NO_ERROR) return name;
  glDeleteTextures(1, &name);
  return 0;
}

}  // namespace

std::optional<ExportedTexture> exportTexture(VuoImage image) {
  if (!has({"EGL_KHR_gl_texture_2D_image", "EGL_MESA_image_dma_buf_export"})) return std::nullopt;
  const EGLint attributes[] = {EGL_GL_TEXTURE_LEVEL_KHR, 0, EGL_NONE};
  const auto name = static_cast<std::uintptr_t>(image->glTextureName);
  const EglImage made{eglCreateImageKHR(eglGetCurrentDisplay(), eglGetCurrentContext(),
                                        EGL_GL_TEXTURE_2D_KHR,
                                        reinterpret_cast<EGLClientBuffer>(name), attributes)};
  return made.image != EGL_NO_IMAGE_KHR ? exported(made.image, *image) : std::nullopt;
}

std::shared_ptr<ImportedTexture> ImportedTexture::import(std::shared_ptr<ShareGroup> group,
                                                         FileDescriptor descriptor,
                                                         const TextureLayout& layout) {
  pixelBytes(layout.width, layout.height);
  if (!has({"EGL_EXT_image_dma_buf_import"}) || !epoxy_has_gl_extension("GL_OES_EGL_image"))
    return nullptr;
  const EglImage made{eglCreateImageKHR(eglGetCurrentDisplay(), EGL_NO_CONTEXT,
                                        EGL_LINUX_DMA_BUF_EXT, nullptr,
                                        attributesOf(layout, descriptor.get()).data())};
  if (made.image == EGL_NO_IMAGE_KHR) return nullptr;
  const GLuint name = textureOver(made.image);
  if (name == 0) return nullptr;
  return std::shared_ptr<ImportedTexture>(new ImportedTexture(std::move(group), name, layout));
}

ImportedTexture::~ImportedTexture() {
  _group->withContext([this] { glDeleteTextures(1, &_name); });
}

}  // namespace vuo
