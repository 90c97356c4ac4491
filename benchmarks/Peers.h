// What a host would pick instead of the framework, drawing the same shader. Each function takes one
// sample: milliseconds per frame, programs' starts not counted.
#pragma once

#include <string>

#include "benchmarks/Session.h"

struct Picture {
  std::string shader;  ///< the fragment shader's file
  int width, height;
};

/// A GStreamer pipeline that draws with `glshader`.
double gstreamerInProcess(const Picture& picture);
/// The same in a process of its own, over GStreamer's shared memory elements, uploaded at the end.
double gstreamerSharedMemory(const Picture& picture, const std::string& folder);
/// Raw frames from a helper process, through a pipe, uploaded at its end.
double rawPipe(const Picture& picture, const Session& session);
/// The same with ffmpeg between.
double ffmpegPipe(const Picture& picture, const Session& session);
