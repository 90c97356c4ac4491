// What a frame costs beside a bare loop, and beside what a host would pick instead.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "benchmarks/BareLoop.h"
#include "benchmarks/Measured.h"
#include "benchmarks/Peers.h"
#include "benchmarks/Session.h"
#include "platform/system/Dispatch.h"
#include "runtime/VuoSharing.h"

namespace {

struct Size {
  int width, height;
  std::string text() const { return std::to_string(width) + "x" + std::to_string(height); }
};

constexpr Size kLarge{1920, 1080}, kLargest{3840, 2160};
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

VuoFrameRequest filtering(ZQBufferRef image) {
  VuoFrameRequest request;
  request.image = std::move(image);
  return request;
}

/// A picture in a buffer of the pool.
VuoFrameRequest poolsPicture(Session& session, Size size) {
  ZQPixels pixels{static_cast<std::size_t>(size.width), static_cast<std::size_t>(size.height), {}};
  for (std::size_t i = 0; i < pixels.width * pixels.height * 4; ++i)
    pixels.rgba.push_back(static_cast<std::uint8_t>(i * 7 + i / 4096));
  return filtering(session.pool().allocBufferWithPixels(pixels));
}

/// The picture that somebody else's texture shows.
VuoFrameRequest hostsPicture(Session& session, Size size, std::uint32_t texture) {
  auto buffer = ZQBufferRef::adopt(ZQBuffer::initWithPool(&session.pool()));
  ZQBufferDescriptor& descriptor = *buffer->descriptorPtr();
  descriptor.target = 0x0DE1;          // GL_TEXTURE_2D
  descriptor.internalFormat = 0x8058;  // GL_RGBA8
  descriptor.textureBacking = ZQTextureBacking_External;
  descriptor.name = texture;
  buffer->setSize({static_cast<double>(size.width), static_cast<double>(size.height)});
  buffer->setSrcRect({0, 0, static_cast<double>(size.width), static_cast<double>(size.height)});
  return filtering(buffer);
}

void filterInProcess(Session& session, const std::string& name, const std::string& what, Size size,
                     int frames) {
  const auto scene = runningScene(benchComposition(name + ".vuo"), size.width, size.height, false);
  const VuoFrameRequest request = poolsPicture(session, size);
  BareLoop bare(session.context(), textOf(benchComposition(name + ".frag")), size.width,
                size.height, request.image->name());
  compare({what + " in process, " + size.text(), "ms"},
          {{"by request", framesOf(*scene, frames, request), {}, {}},
           {"bare loop", perFrame(frames, [&](int count) { bare.draw(count); }), 1.05, {}}},
          kRounds);
}

/// In a process of its own, which draws in the host's textures or not.
std::shared_ptr<VuoGLScene> separateScene(const std::string& name, Size size, bool shares) {
  VuoSharing_allow(shares);
  auto scene = runningScene(benchComposition(name + ".vuo"), size.width, size.height, true);
  VuoSharing_allow(true);
  return scene;
}

void generatorInSeparateProcess(Session& session, Size size, int frames) {
  const auto scene = separateScene("waves", size, true);
  const auto carried = separateScene("waves", size, false);
  BareLoop bare(session.context(), textOf(benchComposition("waves.frag")), size.width, size.height);
  compare({"generator frame in a separate process, " + size.text(), "ms"},
          {{"by request", framesOf(*scene, frames), {}, {}},
           {"bare loop", perFrame(frames, [&](int count) { bare.draw(count); }), 1.1, {}},
           {"allocAndRenderABuffer", callsOf(*scene, frames), {}, {}},
           {"by request, sharing switched off", framesOf(*carried, frames), {}, {}},
           {"bare loop, read back and uploaded",
            perFrame(frames, [&](int count) { bare.drawAndCarry(count); }),
            {},
            {}}},
          kRounds);
}

/// The first scene's process has told whether this machine shares textures; a pool's are shared
/// from then on.
void filterInSeparateProcess(Session& session, Size size, int frames) {
  const auto scene = separateScene("mirror", size, true);
  const auto carried = separateScene("mirror", size, false);
  const std::string shader = textOf(benchComposition("mirror.frag"));
  const VuoFrameRequest ofPool = poolsPicture(session, size);
  BareLoop drawing(session.context(), textOf(benchComposition("waves.frag")), size.width,
                   size.height);
  drawing.draw(1);
  const VuoFrameRequest ofHost = hostsPicture(session, size, drawing.picture());
  BareLoop bare(session.context(), shader, size.width, size.height, ofPool.image->name());
  const auto bareLoop = perFrame(frames, [&](int count) { bare.draw(count); });
  compare({"filter frame in a separate process, picture of the pool, " + size.text(), "ms"},
          {{"by request", framesOf(*scene, frames, ofPool), {}, {}},
           {"bare loop", bareLoop, 1.1, {}},
           {"by request, sharing switched off", framesOf(*carried, frames, ofPool), {}, {}}},
          kRounds);
  compare({"filter frame in a separate process, picture of the host, " + size.text(), "ms"},
          {{"by request", framesOf(*scene, frames, ofHost), {}, {}},
           {"bare loop", bareLoop, 1.2, {}},
           {"by request, sharing switched off", framesOf(*carried, frames, ofHost), {}, {}}},
          kRounds);
}

void chainOfSeparateProcesses(Session& session, Size size, int frames) {
  const auto chain = [&](bool shares) {
    const auto generator = separateScene("waves", size, shares);
    const auto filter = separateScene("mirror", size, shares);
    return perFrame(frames, [=](int count) {
      while (count-- > 0) std::ignore = nextFrame(*filter, filtering(nextFrame(*generator)));
    });
  };
  BareLoop first(session.context(), textOf(benchComposition("waves.frag")), size.width,
                 size.height);
  BareLoop both(first, textOf(benchComposition("mirror.frag")));
  compare({"generator into filter, two processes, " + size.text(), "ms"},
          {{"by request", chain(true), {}, {}},
           {"both passes in one bare loop",
            perFrame(frames, [&](int count) { both.draw(count); }),
            1.15,
            {}},
           {"by request, sharing switched off", chain(false), {}, {}}},
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

void inSeparateProcesses(Session& session) {
  generatorInSeparateProcess(session, kLarge, 20);
  platform::finishQueues();
  std::fprintf(stderr, "Pictures of separate processes go by %s.\n",
               VuoSharing_description().c_str());
  generatorInSeparateProcess(session, kLargest, 8);
  filterInSeparateProcess(session, kLarge, 20);
  chainOfSeparateProcesses(session, kLarge, 20);
}

}  // namespace

/// bench-frames [--peers | --separate]
int main(int count, char** arguments) {
  Session session;
  if (count == 2 && std::strcmp(arguments[1], "--separate") == 0) {
    inSeparateProcesses(session);
    return 0;
  }
  if (count == 2 && std::strcmp(arguments[1], "--peers") == 0) {
    besidePeers(session, kLarge, 20);
    return 0;
  }
  generatorInProcess(session, kLarge, 20, 1.03);
  generatorInProcess(session, kSmall, 500, 1.5);
  filterInProcess(session, "mirror", "filter frame", kLarge, 20);
  filterInProcess(session, "sway", "frame of a filter that follows the time", kLarge, 20);
  inSeparateProcesses(session);
}
