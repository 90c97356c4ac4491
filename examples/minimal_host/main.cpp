// The smallest host: its own GL context, one scene, a picture by request.
//   minimal_host COMPOSITION.vuo PICTURE.ppm
#include <Brannow/Brannow.h>
#include <poll.h>

#include <chrono>
#include <fstream>
#include <iostream>
#include <string>

namespace {

bool writePicture(const ZQPixels& pixels, const std::string& file) {
  std::ofstream out(file, std::ios::binary);
  out << "P6\n" << pixels.width << " " << pixels.height << "\n255\n";
  for (std::size_t i = 0; i < pixels.rgba.size(); i += 4) {
    out.write(reinterpret_cast<const char*>(&pixels.rgba[i]), 3);
  }
  return out.flush().good();
}

/// Serves the main queue, which every change of the status passes, until the composition runs or
/// does not.
void awaitLoad(VuoGLScene& scene) {
  auto& queue = brannow::MainQueue::shared();
  while (scene.status().state == VuoSceneStatus::State::Loading) {
    pollfd due{queue.fileDescriptor(), POLLIN, 0};
    poll(&due, 1, -1);
    queue.runDue();
  }
}

/// Why the picture of the composition's time 1 is not in the file; empty when it is.
std::string render(VuoGLScene& scene, const std::string& file) {
  VuoFrameRequest request;
  request.time = 1;
  const VuoFrame frame = scene.renderFrame(request, std::chrono::seconds(5));
  switch (frame.answer) {
    case VuoFrame::Answer::Late:
      return "no picture within five seconds";
    case VuoFrame::Answer::None: {
      const VuoSceneStatus status = scene.status();  // of a composition that does not run
      return status.message.empty() ? frame.message : status.message;
    }
    default:
      return writePicture(_globalZQBufferPool->readPixels(*frame.buffer), file)
                 ? ""
                 : file + " can't be written";
  }
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 3) {
    std::cerr << "minimal_host COMPOSITION.vuo PICTURE.ppm\n";
    return 2;
  }
  const auto context = brannow::GLContext::createRoot();
  const auto pool = context ? ZQBufferPool::create(context->handle()) : nullptr;
  if (!pool) {
    std::cerr << "no OpenGL here\n";
    return 1;
  }
  _globalZQBufferPool = pool.get();
  VuoGLScene::setGlobalVuoGLContext(context);
  VuoCache::configGlobalCacheWithSavePath("~/.cache/minimal_host");

  std::string problem;
  {
    const auto scene = VuoGLScene::initWithSize(320, 180);
    scene->useFile(arguments[1], true);
    awaitLoad(*scene);
    problem = render(*scene, arguments[2]);
    scene->prepareToBeDeleted();
  }
  brannow::postNotification(brannow::NSApplicationWillTerminateNotification);
  brannow::finishQueues();
  if (problem.empty()) return 0;
  std::cerr << arguments[1] << ": " << problem << "\n";
  return 1;
}
