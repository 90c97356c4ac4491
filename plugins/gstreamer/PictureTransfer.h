#pragma once

#include <gst/gl/gl.h>
#include <gst/video/video.h>

#include <vector>

#include "Brannow/ZQBuffer.h"

/// Pictures between a composition and a pipeline. In GStreamer's textures the first row is the top
/// of the picture, in a composition's the bottom, so a picture is drawn once, turned over. Where
/// the pipeline's context shares no textures with the engine's, pixels are copied instead.
/// For one thread at a time, not that of the context.
class PictureTransfer {
 public:
  PictureTransfer() = default;
  ~PictureTransfer() { end(); }
  PictureTransfer(const PictureTransfer&) = delete;
  PictureTransfer& operator=(const PictureTransfer&) = delete;

  /// Takes up with the context; again where it is another one.
  void begin(GstGLContext* context);
  /// Lets go of everything; the GPU has read every picture then.
  void end();
  /// Whether textures are shared with the engine.
  bool isShared() const { return _isShared; }

  /// Draws the picture, or nothing where it is null, to the whole of a frame of GL memory. It is
  /// held until the GPU has read it.
  bool toPipeline(const ZQBufferRef& picture, GstBuffer* frame, const GstVideoInfo& info);
  /// A picture of the engine's pool with the contents of a frame of GL memory; null when that can't
  /// be had.
  ZQBufferRef fromPipeline(GstBuffer* frame, const GstVideoInfo& info);

 private:
  struct Drawing;
  void onContext(void (PictureTransfer::*step)(Drawing&), Drawing& drawing);
  void makeFramebuffers(Drawing&);
  void findOutWhetherShared(Drawing& probe);
  void deleteFramebuffers(Drawing&);
  void draw(Drawing& drawing);
  void finishReading();
  bool write(const ZQBufferRef& picture, GstBuffer* frame, const GstVideoInfo& info);
  ZQBufferRef read(GstBuffer* frame, const GstVideoInfo& info);

  GstGLContext* _context = nullptr;
  bool _isShared = false;
  unsigned _framebuffers[2] = {0, 0};  ///< drawn from, drawn to
  ZQBufferRef _beingRead;
  void* _readFence = nullptr;
};
