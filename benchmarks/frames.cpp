// What a frame costs beside a bare loop, and beside what a host would pick instead.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "benchmarks/BareLoop.h"
#include "benchmarks/Measured.h"
#include "benchmarks/Peers.h"
#include "benchmarks/Session.h"

namespace {

struct Size {
  int width, height;
  std::string text() const { return std::to_string(width) + "x" + std::to_string(height); }
};

constexpr Size kLarge{1920, 1080};
constexpr Size kSmall{64, 64};
constexpr int kRounds = 15, kPeerRounds = 7;

std::function<double()> perFrame(int frames, const std::function<void(int)>& work) {
  return [=] { return milliseconds([&] { work(frames); }) / frames; };
}

std::function<double()> framesOf(VuoGLScene& scene, int frames,
                                 const VuoFrameRequest& request = {}) {
  return perFrame(frames, [&scene, request](int count) {
    while (count-- > 0) std::ignore = nextFrame(scene, request);
  });
}

/// The same by the frame call, which waits for the next report.
std::function<double()> callsOf(VuoGLScene& scene, int frames) {
  return perFrame(frames, [&scene](int count) {
    while (count-- > 0) {
      std::ignore = scene.copyAndClearOutValPortNames();
      if (!scene.allocAndRenderABuffer()) std::abort();
    }
  });
}

void generatorInProcess(Session& session, Size size, int frames, double target) {
  const auto scene = runningScene(benchComposition("waves.vuo"), size.width, size.height, false);
  const std::string shader = textOf(benchComposition("waves.frag"));
  BareLoop bare(session.context(), shader, size.width, size.height);
  BareLoop onAThread(session.context(), shader, size.width, size.height);
  AskedBareLoop asked(onAThread);
  compare({"generator frame in process, " + size.text(), "ms"},
          {{"by request", framesOf(*scene, frames), {}, {}},
           {"bare loop", perFrame(frames, [&](int count) { bare.draw(count); }), target, {}},
           {"allocAndRenderABuffer", callsOf(*scene, frames), {}, {}},
           {"bare loop, asked by another thread",
            perFrame(frames, [&](int count) { asked.draw(count); }),
            {},
            {}}},
          kRounds);
}

void filterInProcess(Session& session, const std::string& name, const std::string& what, Size size,
                     int frames) {
  const auto scene = runningScene(benchComposition(name + ".vuo"), size.width, size.height, false);
  ZQPixels pixels{static_cast<std::size_t>(size.width), static_cast<std::size_t>(size.height), {}};
  for (std::size_t i = 0; i < pixels.width * pixels.height * 4; ++i)
    pixels.rgba.push_back(static_cast<std::uint8_t>(i * 7 + i / 4096));
  VuoFrameRequest request;
  request.image = session.pool().allocBufferWithPixels(pixels);
  BareLoop bare(session.context(), textOf(benchComposition(name + ".frag")), size.width,
                size.height, request.image->name());
  compare({what + " in process, " + size.text(), "ms"},
          {{"by request", framesOf(*scene, frames, request), {}, {}},
           {"bare loop", perFrame(frames, [&](int count) { bare.draw(count); }), 1.05, {}}},
          kRounds);
}

void generatorInSeparateProcess(Session& session, Size size, int frames) {
  const auto scene = runningScene(benchComposition("waves.vuo"), size.width, size.height, true);
  BareLoop bare(session.context(), textOf(benchComposition("waves.frag")), size.width, size.height);
  compare({"generator frame in a separate process, " + size.text(), "ms"},
          {{"by request", framesOf(*scene, frames), {}, {}},
           {"bare loop, read back and uploaded",
            perFrame(frames, [&](int count) { bare.drawAndCarry(count); }),
            1.1,
            {}},
           {"allocAndRenderABuffer", callsOf(*scene, frames), {}, {}},
           {"bare loop", perFrame(frames, [&](int count) { bare.draw(count); }), {}, {}}},
          kRounds);
}

void besidePeers(Session& session, Size size, int frames) {
  const Picture picture{benchComposition("waves.frag"), size.width, size.height};
  const std::string file = benchComposition("waves.vuo");
  {
    const auto scene = runningScene(file, size.width, size.height, false);
    compare(
        {"the same in process, beside peers", "ms"},
        {{"by request", framesOf(*scene, frames), {}, {}},
         {"GStreamer gltestsrc ! glshader", [&] { return gstreamerInProcess(picture); }, 1.0, {}}},
        kPeerRounds);
  }
  const auto scene = runningScene(file, size.width, size.height, true);
  compare({"the same in a separate process, beside peers", "ms"},
          {{"by request", framesOf(*scene, frames), {}, {}},
           {"raw frames through a pipe", [&] { return rawPipe(picture, session); }, 1.0, {}},
           {"raw frames through ffmpeg", [&] { return ffmpegPipe(picture, session); }, 0.5, {}},
           {"GStreamer shmsink, shmsrc",
            [&] { return gstreamerSharedMemory(picture, session.folder()); },
            1.0,
            {}}},
          kPeerRounds);
}

}  // namespace

/// bench-frames [--peers]
int main(int count, char** arguments) {
  Session session;
  if (count == 2 && std::strcmp(arguments[1], "--peers") == 0) {
    besidePeers(session, kLarge, 20);
    return 0;
  }
  generatorInProcess(session, kLarge, 20, 1.03);
  generatorInProcess(session, kSmall, 500, 1.5);
  filterInProcess(session, "mirror", "filter frame", kLarge, 20);
  filterInProcess(session, "sway", "frame of a filter that follows the time", kLarge, 20);
  generatorInSeparateProcess(session, kLarge, 20);
}
