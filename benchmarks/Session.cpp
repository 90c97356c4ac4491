#include "benchmarks/Session.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "platform/system/Dispatch.h"
#include "platform/system/FileSystem.h"
#include "platform/system/Notifications.h"

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

Session::Session() : _folder(newFolder()), _context(platform::GLContext::createRoot()) {
  if (_context) _pool = ZQBufferPool::create(_context->handle());
  if (!_pool) fail("this machine offers no OpenGL 3.3 core through EGL");
  _globalZQBufferPool = _pool.get();
  VuoGLScene::setGlobalVuoGLContext(_context);
  VuoCache::configGlobalCacheWithSavePath(_folder);
}

Session::~Session() {
  platform::postNotification(platform::NSApplicationWillTerminateNotification);
  platform::finishQueues();
  _globalZQBufferPool = nullptr;
  std::filesystem::remove_all(_folder);
}

std::string benchComposition(const std::string& name) {
  return std::string(BENCH_COMPOSITIONS_DIR) + "/" + name;
}

std::string textOf(const std::string& file) {
  return platform::readTextFile(file).value_or("");
}

std::shared_ptr<VuoGLScene> runningScene(const std::string& file, double width, double height,
                                         bool newProcess) {
  auto scene = VuoGLScene::initWithSize(width, height);
  scene->setRunnerNewProcess(newProcess);
  scene->useFile(file);
  if (!scene->readyToRender()) fail(file + " does not run");
  if (!scene->comp()->runnerTimePort()) fail(file + " does not ask for the time");
  return scene;
}

ZQBufferRef nextFrame(VuoGLScene& scene) {
  std::ignore = scene.copyAndClearOutValPortNames();
  auto frame = scene.allocAndRenderABuffer();
  if (!frame) fail("no frame came");
  return frame;
}

ZQBufferRef nextWholeFrame(VuoGLScene& scene) {
  for (int i = 0; i < 10; ++i)
    if (auto frame = nextFrame(scene); frame->size() == scene.size()) return frame;
  fail("no frame has the scene's size");
}
