// Textures whose memory two processes use: dma-bufs, through EGL. Both ends are here; whether they
// understand each other shows only in the pictures, so whoever uses this compares some.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "platform/runtime/VuoImage.h"
#include "platform/runtime/textures/ShareGroup.h"
#include "platform/runtime/transport/FileDescriptor.h"

namespace vuo {

/// How a picture lies in the memory behind a descriptor. Format and modifier are the kernel's.
struct TextureLayout {
  std::uint64_t width, height;
  std::uint64_t format, modifier, stride, offset;
};

struct ExportedTexture {
  FileDescriptor descriptor;
  TextureLayout layout;
};

/// Lets another process use the image's texture. A context that knows it is current. Nothing where
/// the driver can't.
std::optional<ExportedTexture> exportTexture(VuoImage image);

/// Another process's texture under a name of this process's share group.
class ImportedTexture {
 public:
  /// A context of the group is current. Null where the driver can't.
  static std::shared_ptr<ImportedTexture> import(FileDescriptor descriptor,
                                                 const TextureLayout& layout);
  /// Any thread, with or without a current context.
  ~ImportedTexture();
  ImportedTexture(const ImportedTexture&) = delete;
  ImportedTexture& operator=(const ImportedTexture&) = delete;

  std::uint32_t name() const { return _name; }

 private:
  explicit ImportedTexture(std::uint32_t name) : _group(ShareGroup::current()), _name(name) {}
  const std::shared_ptr<ShareGroup> _group;
  const std::uint32_t _name;
};

}  // namespace vuo
