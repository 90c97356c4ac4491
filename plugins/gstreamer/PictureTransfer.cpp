#include "gstreamer/PictureTransfer.h"

#include <gst/gl/gstglfuncs.h>

#include <algorithm>
#include <cstring>
#include <random>

#include "Brannow/Engine.h"

namespace {

constexpr guint64 kForever = ~guint64{0};
constexpr unsigned kPackInvert = 0x8758;  // GL_PACK_INVERT_MESA

GstGLMemory* textureOf(GstBuffer* frame) {
  GstMemory* memory = gst_buffer_peek_memory(frame, 0);
  return memory && gst_is_gl_memory(memory) ? reinterpret_cast<GstGLMemory*>(memory) : nullptr;
}

/// Pixels that no other texture has by accident.
ZQPixels unmistakablePixels() {
  std::random_device chance;
  ZQPixels pixels{8, 1, std::vector<std::uint8_t>(32)};
  std::generate(pixels.rgba.begin(), pixels.rgba.end(),
                [&] { return static_cast<std::uint8_t>(chance()); });
  return pixels;
}

/// A whole frame of GL memory as pixels.
class MappedFrame {
 public:
  MappedFrame(GstBuffer* frame, const GstVideoInfo& info, GstMapFlags flags) {
    GstVideoInfo lent = info;
    _isMapped = gst_video_frame_map(&_frame, &lent, frame, flags);
  }
  ~MappedFrame() {
    if (_isMapped) gst_video_frame_unmap(&_frame);
  }
  MappedFrame(const MappedFrame&) = delete;
  MappedFrame& operator=(const MappedFrame&) = delete;

  explicit operator bool() const { return _isMapped; }
  int stride() const { return GST_VIDEO_FRAME_PLANE_STRIDE(&_frame, 0); }
  std::uint8_t* row(std::size_t index) {
    return static_cast<std::uint8_t*>(GST_VIDEO_FRAME_PLANE_DATA(&_frame, 0)) +
           index * static_cast<std::size_t>(stride());
  }

 private:
  GstVideoFrame _frame{};
  bool _isMapped = false;
};

/// A texture, and the part of it that counts.
struct Texture {
  unsigned name = 0, target = 0;
  int width = 0, height = 0;
  int left = 0, bottom = 0;
};

Texture textureOf(const ZQBuffer& picture) {
  const ZQRect part = picture.srcRect();
  return {picture.name(),
          picture.target(),
          static_cast<int>(part.width),
          static_cast<int>(part.height),
          static_cast<int>(part.x),
          static_cast<int>(part.y)};
}

void attach(const GstGLFuncs* gl, unsigned target, unsigned framebuffer, const Texture& texture) {
  gl->BindFramebuffer(target, framebuffer);
  gl->FramebufferTexture2D(target, GL_COLOR_ATTACHMENT0, texture.target, texture.name, 0);
}

/// From the framebuffer that is read to the whole of the one that is drawn to. `rowByRow` is for
/// pictures of the same size.
void turnOver(const GstGLFuncs* gl, const Texture& from, const Texture& to, bool rowByRow) {
  const int right = from.left + from.width, top = from.bottom + from.height;
  const bool isOneToOne = from.width == to.width && from.height == to.height;
  if (!rowByRow || !isOneToOne) {
    gl->BlitFramebuffer(from.left, from.bottom, right, top, 0, to.height, to.width, 0,
                        GL_COLOR_BUFFER_BIT, isOneToOne ? GL_NEAREST : GL_LINEAR);
    return;
  }
  for (int row = 0; row < to.height; ++row)
    gl->BlitFramebuffer(from.left, top - row - 1, right, top - row, 0, row, to.width, row + 1,
                        GL_COLOR_BUFFER_BIT, GL_NEAREST);
}

}  // namespace

/// What is done on the context's thread.
struct PictureTransfer::Drawing {
  Texture from, to;
  GstBuffer* frame = nullptr;  ///< whose memory is written instead of `to`
  const GstVideoInfo* info = nullptr;
  bool isToBeFinished = false;  ///< when the call returns; otherwise a fence tells
  bool isDone = false;
  const ZQPixels* probe = nullptr;
};

void PictureTransfer::onContext(void (PictureTransfer::*step)(Drawing&), Drawing& drawing) {
  struct Call {
    PictureTransfer& transfer;
    void (PictureTransfer::*step)(Drawing&);
    Drawing& drawing;
  } call{*this, step, drawing};
  gst_gl_context_thread_add(
      _context,
      [](GstGLContext*, gpointer data) {
        auto& made = *static_cast<Call*>(data);
        (made.transfer.*made.step)(made.drawing);
      },
      &call);
}

void PictureTransfer::begin(GstGLContext* context) {
  if (_context == context) return;
  end();
  _context = GST_GL_CONTEXT(gst_object_ref(context));
  Drawing nothing;
  onContext(&PictureTransfer::makeFramebuffers, nothing);
  auto* engine = brannow::Engine::shared();
  if (!engine) return;
  const ZQPixels pixels = unmistakablePixels();
  const ZQBufferRef picture = engine->pool().allocBufferWithPixels(pixels);
  if (!picture) return;
  Drawing probe;
  probe.from = {picture->name(), picture->target(), 8, 1, 0, 0};
  probe.probe = &pixels;
  onContext(&PictureTransfer::findOutWhetherShared, probe);
  _isShared = probe.isDone;
}

void PictureTransfer::end() {
  if (!_context) return;
  Drawing nothing;
  onContext(&PictureTransfer::deleteFramebuffers, nothing);
  gst_object_unref(_context);
  _context = nullptr;
  _isShared = false;
}

void PictureTransfer::makeFramebuffers(Drawing&) {
  const auto* gl = _context->gl_vtable;
  gl->GenFramebuffers(2, _framebuffers);
  const auto* renderer = reinterpret_cast<const char*>(gl->GetString(GL_RENDERER));
  _isInSoftware = renderer && g_str_has_prefix(renderer, "llvmpipe") &&
                  gst_gl_context_check_feature(_context, "GL_MESA_pack_invert");
}

void PictureTransfer::findOutWhetherShared(Drawing& probe) {
  const auto* gl = _context->gl_vtable;
  if (!gl->BlitFramebuffer) return;
  std::uint8_t seen[32] = {};
  gl->BindFramebuffer(GL_FRAMEBUFFER, _framebuffers[0]);
  gl->FramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, probe.from.target, probe.from.name,
                           0);
  if (gl->CheckFramebufferStatus(GL_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE)
    gl->ReadPixels(0, 0, 8, 1, GL_RGBA, GL_UNSIGNED_BYTE, seen);
  gl->FramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, probe.from.target, 0, 0);
  gl->BindFramebuffer(GL_FRAMEBUFFER, 0);
  while (gl->GetError() != GL_NO_ERROR) {  // the name of no texture at all
  }
  probe.isDone = std::equal(std::begin(seen), std::end(seen), probe.probe->rgba.begin());
}

void PictureTransfer::deleteFramebuffers(Drawing&) {
  finishReading();
  _context->gl_vtable->DeleteFramebuffers(2, _framebuffers);
}

void PictureTransfer::finishReading() {
  const auto* gl = _context->gl_vtable;
  if (_readFence) {
    const auto fence = static_cast<GLsync>(_readFence);
    gl->ClientWaitSync(fence, GL_SYNC_FLUSH_COMMANDS_BIT, kForever);
    gl->DeleteSync(fence);
    _readFence = nullptr;
  } else if (_beingRead) {
    gl->Finish();
  }
  _beingRead = nullptr;
}

void PictureTransfer::draw(Drawing& drawing) {
  const auto* gl = _context->gl_vtable;
  finishReading();
  attach(gl, GL_DRAW_FRAMEBUFFER, _framebuffers[1], drawing.to);
  if (drawing.from.name) {
    attach(gl, GL_READ_FRAMEBUFFER, _framebuffers[0], drawing.from);
    turnOver(gl, drawing.from, drawing.to, _isInSoftware);
    attach(gl, GL_READ_FRAMEBUFFER, _framebuffers[0], {0, drawing.from.target});
  } else {
    gl->ClearColor(0, 0, 0, 0);
    gl->Clear(GL_COLOR_BUFFER_BIT);
  }
  attach(gl, GL_DRAW_FRAMEBUFFER, _framebuffers[1], {0, drawing.to.target});
  gl->BindFramebuffer(GL_FRAMEBUFFER, 0);
  if (drawing.isToBeFinished) {
    gl->Finish();
  } else if (gl->FenceSync) {
    _readFence = gl->FenceSync(GL_SYNC_GPU_COMMANDS_COMPLETE, 0);
    gl->Flush();
  }
  drawing.isDone = true;
}

void PictureTransfer::readPixels(Drawing& drawing) {
  const auto* gl = _context->gl_vtable;
  const auto& from = drawing.from;
  MappedFrame pixels(drawing.frame, *drawing.info, GST_MAP_WRITE);
  if (!pixels) return;
  attach(gl, GL_FRAMEBUFFER, _framebuffers[0], from);
  gl->PixelStorei(GL_PACK_ROW_LENGTH, pixels.stride() / 4);
  gl->PixelStorei(kPackInvert, 1);
  gl->ReadPixels(from.left, from.bottom, from.width, from.height, GL_RGBA, GL_UNSIGNED_BYTE,
                 pixels.row(0));
  gl->PixelStorei(kPackInvert, 0);
  gl->PixelStorei(GL_PACK_ROW_LENGTH, 0);
  attach(gl, GL_FRAMEBUFFER, _framebuffers[0], {0, from.target});
  gl->BindFramebuffer(GL_FRAMEBUFFER, 0);
  drawing.isDone = true;
}

bool PictureTransfer::toPipeline(const ZQBufferRef& picture, GstBuffer* frame,
                                 const GstVideoInfo& info) {
  if (picture && !_isShared) return write(picture, frame, info);
  Drawing drawing;
  if (picture) drawing.from = textureOf(*picture);
  if (_isInSoftware && drawing.from.width == info.width && drawing.from.height == info.height) {
    drawing.frame = frame;
    drawing.info = &info;
    onContext(&PictureTransfer::readPixels, drawing);
    return drawing.isDone;
  }
  GstVideoFrame mapped;
  GstVideoInfo lent = info;
  // Tells the memory that its texture is what counts from now on.
  const auto flags = static_cast<GstMapFlags>(GST_MAP_WRITE | GST_MAP_GL);
  if (!textureOf(frame) || !gst_video_frame_map(&mapped, &lent, frame, flags)) return false;
  drawing.to = {*static_cast<guint*>(mapped.data[0]), GL_TEXTURE_2D, info.width, info.height, 0, 0};
  onContext(&PictureTransfer::draw, drawing);
  _beingRead = picture;
  gst_video_frame_unmap(&mapped);
  if (auto* point = gst_buffer_get_gl_sync_meta(frame))
    gst_gl_sync_meta_set_sync_point(point, _context);
  return drawing.isDone;
}

ZQBufferRef PictureTransfer::fromPipeline(GstBuffer* frame, const GstVideoInfo& info) {
  auto* engine = brannow::Engine::shared();
  if (!engine) return nullptr;
  if (auto* point = gst_buffer_get_gl_sync_meta(frame)) gst_gl_sync_meta_wait(point, _context);
  if (!_isShared) return read(frame, info);
  GstVideoFrame mapped;
  GstVideoInfo lent = info;
  const auto flags = static_cast<GstMapFlags>(GST_MAP_READ | GST_MAP_GL);
  const GstGLMemory* texture = textureOf(frame);
  if (!texture || !gst_video_frame_map(&mapped, &lent, frame, flags)) return nullptr;
  ZQBufferRef picture = engine->pool().allocBuffer(static_cast<std::size_t>(info.width),
                                                   static_cast<std::size_t>(info.height));
  Drawing drawing;
  drawing.from = {*static_cast<guint*>(mapped.data[0]),
                  gst_gl_texture_target_to_gl(texture->tex_target),
                  info.width,
                  info.height,
                  0,
                  0};
  if (picture) {
    drawing.to = textureOf(*picture);
    drawing.isToBeFinished = true;
    onContext(&PictureTransfer::draw, drawing);
  }
  gst_video_frame_unmap(&mapped);
  return drawing.isDone ? picture : nullptr;
}

bool PictureTransfer::write(const ZQBufferRef& picture, GstBuffer* frame,
                            const GstVideoInfo& info) {
  auto* engine = brannow::Engine::shared();
  const ZQPixels pixels = engine ? engine->pool().readPixels(*picture) : ZQPixels{};
  MappedFrame mapped(frame, info, GST_MAP_WRITE);
  if (!mapped || pixels.rgba.empty()) return false;
  const auto width = static_cast<std::size_t>(info.width);
  for (std::size_t y = 0; y < static_cast<std::size_t>(info.height); ++y) {
    const std::uint8_t* from =
        pixels.rgba.data() +
        4 * pixels.width * (y * pixels.height / static_cast<std::size_t>(info.height));
    std::uint8_t* to = mapped.row(y);
    if (pixels.width == width) {
      std::memcpy(to, from, 4 * width);
      continue;
    }
    for (std::size_t x = 0; x < width; ++x)
      std::memcpy(to + 4 * x, from + 4 * (x * pixels.width / width), 4);
  }
  return true;
}

ZQBufferRef PictureTransfer::read(GstBuffer* frame, const GstVideoInfo& info) {
  MappedFrame mapped(frame, info, GST_MAP_READ);
  if (!mapped) return nullptr;
  ZQPixels pixels{static_cast<std::size_t>(info.width), static_cast<std::size_t>(info.height), {}};
  pixels.rgba.resize(4 * pixels.width * pixels.height);
  for (std::size_t y = 0; y < pixels.height; ++y)
    std::memcpy(pixels.rgba.data() + 4 * pixels.width * y, mapped.row(y), 4 * pixels.width);
  return brannow::Engine::shared()->pool().allocBufferWithPixels(pixels);
}
