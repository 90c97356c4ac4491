#include "benchmarks/Session.h"

#include <poll.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "Brannow/MainQueue.h"
#include "Brannow/Notifications.h"

namespace {

[[noreturn]] void fail(const std::string& message) {
  std::fprintf(stderr, "%s\n", message.c_str());
  std::_Exit(1);
}

std::string newFolder() {
  std::string name = (std::filesystem::temp_directory_path() / "brannow-bench-XXXXXX").string();
  if (!::mkdtemp(name.data())) fail("no temporary folder");
  return name;
}

}  // namespace

Session::Session() : _folder(newFolder()), _context(brannow::GLContext::createRoot()) {
  if (_context) _pool = ZQBufferPool::create(_context->handle());
  if (!_pool) fail("this machine offers no OpenGL 3.3 core through EGL");
  _globalZQBufferPool = _pool.get();
  VuoGLScene::setGlobalVuoGLContext(_context);
  VuoCache::configGlobalCacheWithSavePath(_folder);
}

Session::~Session() {
  brannow::postNotification(brannow::NSApplicationWillTerminateNotification);
  brannow::finishQueues();
  _globalZQBufferPool = nullptr;
  std::filesystem::remove_all(_folder);
}

std::string benchComposition(const std::string& name) {
  return std::string(BENCH_COMPOSITIONS_DIR) + "/" + name;
}

std::string textOf(const std::string& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

std::shared_ptr<VuoGLScene> runningScene(const std::string& file, double width, double height,
                                         bool newProcess) {
  auto scene = VuoGLScene::initWithSize(width, height);
  scene->setRunnerNewProcess(newProcess);
  scene->useFile(file);
  // Every change of the status passes the main queue.
  auto& queue = brannow::MainQueue::shared();
  while (scene->status().state == VuoSceneStatus::State::Loading) {
    pollfd due{queue.fileDescriptor(), POLLIN, 0};
    ::poll(&due, 1, -1);
    queue.runDue();
  }
  const auto status = scene->status();
  if (status.state != VuoSceneStatus::State::Running) fail(file + ": " + status.message);
  if (!scene->comp()->runnerTimePort()) fail(file + " does not ask for the time");
  return scene;
}

ZQBufferRef nextFrame(VuoGLScene& scene, const VuoFrameRequest& request) {
  return answerTo(scene.askForFrame(request), scene);
}

ZQBufferRef answerTo(const std::shared_ptr<VuoPendingFrame>& asked, VuoGLScene& scene) {
  auto frame = scene.takeFrame(asked, std::nullopt);
  if (!frame.buffer) fail("no frame came: " + frame.message);
  return std::move(frame.buffer);
}
