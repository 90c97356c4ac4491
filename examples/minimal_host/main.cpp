// The smallest host: its own GL context, one scene, a loop, a picture.
//   minimal_host COMPOSITION.vuo PICTURE.ppm
#include <Brannow/Brannow.h>
#include <poll.h>

#include <chrono>
#include <fstream>
#include <iostream>

#include "platform/system/Dispatch.h"
#include "platform/system/Notifications.h"

namespace {

bool writePicture(const ZQPixels& pixels, const std::string& file) {
  std::ofstream out(file, std::ios::binary);
  out << "P6\n" << pixels.width << " " << pixels.height << "\n255\n";
  for (std::size_t i = 0; i < pixels.rgba.size(); i += 4) {
    out.write(reinterpret_cast<const char*>(&pixels.rgba[i]), 3);
  }
  return out.flush().good();
}

/// The host's loop: serves the main queue and asks for a picture sixty times a second, until one
/// has the scene's size or five seconds have passed.
ZQBufferRef firstPicture(VuoGLScene& scene) {
  auto& queue = platform::MainQueue::shared();
  const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  while (std::chrono::steady_clock::now() < giveUp) {
    pollfd due{queue.fileDescriptor(), POLLIN, 0};
    if (poll(&due, 1, 1000 / 60) > 0) queue.runDue();
    if (!scene.readyToRender()) continue;
    auto picture = scene.allocAndRenderABuffer();
    if (picture && picture->size() == scene.size()) return picture;
  }
  return nullptr;
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 3) {
    std::cerr << "minimal_host COMPOSITION.vuo PICTURE.ppm\n";
    return 2;
  }
  const auto context = platform::GLContext::createRoot();
  const auto pool = context ? ZQBufferPool::create(context->handle()) : nullptr;
  if (!pool) {
    std::cerr << "no OpenGL here\n";
    return 1;
  }
  _globalZQBufferPool = pool.get();
  VuoGLScene::setGlobalVuoGLContext(context);
  VuoCache::configGlobalCacheWithSavePath("~/.cache/minimal_host");

  bool written = false;
  {
    const auto scene = VuoGLScene::initWithSize(320, 180);
    scene->useFile(arguments[1], true);
    if (const auto picture = firstPicture(*scene)) {
      written = writePicture(pool->readPixels(*picture), arguments[2]);
    }
    scene->prepareToBeDeleted();
  }
  platform::postNotification(platform::NSApplicationWillTerminateNotification);
  platform::finishQueues();
  if (!written) std::cerr << "no picture of " << arguments[1] << "\n";
  return written ? 0 : 1;
}
