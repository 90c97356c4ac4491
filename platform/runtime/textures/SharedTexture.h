// Textures whose memory two processes use: dma-bufs, through EGL. Both ends are here. Whether two
// drivers understand each other shows only in the pictures, so whoever uses this tries it out.
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
  /// A context of the group is current. Null where the driver can't. Throws std::runtime_error when
  /// the layout has no size that a picture can have.
  static std::shared_ptr<ImportedTexture> import(std::shared_ptr<ShareGroup> group,
                                                 FileDescriptor descriptor,
                                                 const TextureLayout& layout);
  /// Any thread, with or without a current context.
  ~ImportedTexture();
  ImportedTexture(const ImportedTexture&) = delete;
  ImportedTexture& operator=(const ImportedTexture&) = delete;

  std::uint32_t name() const { return _name; }
  std::uint64_t width() const { return _width; }
  std::uint64_t height() const { return _height; }

 private:
  ImportedTexture(std::shared_ptr<ShareGroup> group, std::uint32_t name,
                  const TextureLayout& layout)
      : _group(std::move(group)), _name(name), _width(layout.width), _height(layout.height) {}
  const std::shared_ptr<ShareGroup> _group;
  const std::uint32_t _name;
  const std::uint64_t _width, _height;
};

}  // namespace vuo
