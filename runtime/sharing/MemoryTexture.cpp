#include "runtime/sharing/MemoryTexture.h"

#include <epoxy/gl.h>

#include <stdexcept>

#include "runtime/sharing/SealedMemory.h"
#include "runtime/textures/TexturePool.h"

namespace vuo {
namespace {

void forgetErrors() {
  while (glGetError() != GL_NO_ERROR) {
  }
}

void requireNoError(const char* what) {
  const GLenum error = glGetError();
  if (error != GL_NO_ERROR)
    throw std::runtime_error(std::string(what) + " (OpenGL's error " + std::to_string(error) + ")");
}

}  // namespace

std::string deviceIdentity() {
  if (!epoxy_has_gl_extension("GL_EXT_memory_object_fd")) return {};
  forgetErrors();
  GLint devices = 0;
  glGetIntegerv(GL_NUM_DEVICE_UUIDS_EXT, &devices);
  if (devices != 1) return {};  // of several that draw together none has the picture alone
  GLubyte identity[2 * GL_UUID_SIZE_EXT] = {};
  glGetUnsignedBytei_vEXT(GL_DEVICE_UUID_EXT, 0, identity);
  glGetUnsignedBytevEXT(GL_DRIVER_UUID_EXT, identity + GL_UUID_SIZE_EXT);
  if (glGetError() != GL_NO_ERROR) return {};
  return {reinterpret_cast<const char*>(identity), sizeof identity};
}

MemoryTexture MemoryTexture::over(const ImageMemory& memory) {
  const StandIn standIn(memory);
  MemoryTexture made;
  forgetErrors();
  try {
    glCreateMemoryObjectsEXT(1, &made.memoryObject);
    const GLint isDedicated = memory.isDedicated;
    glMemoryObjectParameterivEXT(made.memoryObject, GL_DEDICATED_MEMORY_OBJECT_EXT, &isDedicated);
    platform::FileDescriptor descriptor = standIn.descriptor();
    glImportMemoryFdEXT(made.memoryObject, memory.size, GL_HANDLE_TYPE_OPAQUE_FD_EXT,
                        descriptor.get());
    requireNoError("A shared picture can't be imported");
    (void)descriptor.release();  // the driver's now
    standIn.mapPixels();
    glGenTextures(1, &made.texture);
    glBindTexture(GL_TEXTURE_2D, made.texture);
    glTexStorageMem2DEXT(GL_TEXTURE_2D, 1, GL_RGBA8, static_cast<GLsizei>(memory.width),
                         static_cast<GLsizei>(memory.height), made.memoryObject, 0);
    requireNoError("A shared picture makes no texture");
    sampleLikeAPicture();
    glBindTexture(GL_TEXTURE_2D, 0);
    glFlush();
  } catch (...) {
    made.destroy();
    throw;
  }
  return made;
}

void MemoryTexture::destroy() const {
  glDeleteTextures(1, &texture);
  glDeleteMemoryObjectsEXT(1, &memoryObject);
}

}  // namespace vuo
