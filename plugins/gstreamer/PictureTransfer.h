#pragma once

#include <gst/gl/gl.h>
#include <gst/video/video.h>

#include <vector>

#include "Brannow/ZQBuffer.h"

/// Pictures between a composition and a pipeline. In GStreamer's textures the first row is the top
/// of the picture, in a composition's the bottom, so a picture is drawn once, turned over. Where
/// the pipeline's context shares no textures with the engine's, pixels are copied instead.
///
/// Software draws slowly and copies fast. Of 1920x1080 pixels llvmpipe draws a picture turned over
/// in 13 ms of processor time; it copies it row by row in 1.0 ms, and reads it into memory, turned
/// over, in 0.6 ms, or 1.3 ms where other processors have just drawn it. So there a picture comes
/// in row by row, and goes out to the memory of the frame: GStreamer fills the texture from it, in
/// another 0.6 ms, when that is what is asked for.
///
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
  void readPixels(Drawing& drawing);
  void finishReading();
  bool write(const ZQBufferRef& picture, GstBuffer* frame, const GstVideoInfo& info);
  ZQBufferRef read(GstBuffer* frame, const GstVideoInfo& info);

  GstGLContext* _context = nullptr;
  bool _isShared = false;
  bool _isInSoftware = false;
  unsigned _framebuffers[2] = {0, 0};  ///< drawn from, drawn to
  ZQBufferRef _beingRead;
  void* _readFence = nullptr;
};
