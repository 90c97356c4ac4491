#include "Brannow/Engine.h"

#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <thread>
#include <utility>

#include "Brannow/Alert.h"
#include "Brannow/MainQueue.h"
#include "Brannow/Notifications.h"
#include "Brannow/VuoCache.h"
#include "engine/LoadEnd.h"
#include "platform/system/Bundle.h"
#include "platform/system/Digest.h"
#include "platform/system/FileSystem.h"
#include "platform/system/Mutex.h"
#include "scene/GlobalContext.h"

namespace brannow {
namespace {

/// A program that meets the framework for the first time, or another version of its runtime, clears
/// its folder; so each has one of its own.
std::string cacheFolder() {
  const char* folder = std::getenv("XDG_CACHE_HOME");
  const bool isAbsolute = folder && *folder == '/';
  const std::string& program = platform::executablePath();
  return (isAbsolute ? folder : platform::expandTilde("~/.cache")) + "/brannow/programs/" +
         platform::lastPathComponent(program) + "-" + platform::md5Digits(program).substr(0, 8);
}

/// Services have no home, and containers one that can't be written.
std::string writableCacheFolder() {
  const std::string folder = cacheFolder();
  const bool isWritable =
      platform::createFolders(folder) && ::access(folder.c_str(), W_OK | X_OK) == 0;
  return isWritable ? folder : platform::folderOfThisProcess();
}

/// The cache knows a composition by its whole path.
std::string pathForCache(const std::string& file) {
  return std::filesystem::absolute(file).lexically_normal().string();
}

class SharedEngine final : public Engine {
 public:
  /// Null when a part of it can't be had. Whatever it has set up is never put away: pictures and
  /// scenes may be anywhere in the program.
  static SharedEngine* begin(std::shared_ptr<GLContext> context) {
    if (_globalZQBufferPool) return ofHost();
    if (!context) context = GLContext::createRoot();
    auto pool = context ? ZQBufferPool::create(context->handle()) : nullptr;
    if (!pool) return nullptr;
    auto* engine = new SharedEngine(std::move(context), pool.get());
    engine->_server = std::thread([] { MainQueue::shared().run(); });
    _globalZQBufferPool = pool.release();
    VuoGLScene::setGlobalVuoGLContext(engine->_context);
    VuoCache::configGlobalCacheWithSavePath(writableCacheFolder());
    setAlertPresenter([](const Alert&) { return std::size_t{0}; });  // `problem` says it
    return engine;
  }

  const GLContext& context() const override { return *_context; }
  ZQBufferPool& pool() const override { return *_pool; }

  std::shared_ptr<VuoGLScene> loadScene(const SceneOptions& options, std::string& problem) override
      try {
    auto scene = VuoGLScene::initWithSize(options.size.width, options.size.height);
    if (!scene) {
      problem = "a picture has at least one pixel each way";
      return nullptr;
    }
    scene->setRunnerNewProcess(!options.inProcess);
    scene->setEventPatience(options.eventPatience);
    const std::string file = pathForCache(options.file);
    const auto start = std::chrono::steady_clock::now();
    const VuoSceneStatus status = LoadEnd::of(*scene, file);
    if (status.state == VuoSceneStatus::State::Running) return scene;
    const auto compile = VuoCache::lastCompileForVuoFile(file);
    const bool isItsFault = compile && compile->began >= start && compile->failure;
    problem = isItsFault ? *compile->failure : status.message;
    return nullptr;
  } catch (const std::exception& fault) {
    problem = fault.what();
    return nullptr;
  }

  /// As a host ends the framework; not in a child of a fork, which has none of its threads.
  void end() {
    if (!_server.joinable() || ::getpid() != _process) return;
    postNotification(NSApplicationWillTerminateNotification);
    MainQueue::shared().stop();
    if (_server.get_id() == std::this_thread::get_id()) return _server.detach();
    _server.join();
    finishQueues();
  }

 private:
  SharedEngine(std::shared_ptr<GLContext> context, ZQBufferPool* pool)
      : _context(std::move(context)), _pool(pool) {}

  static SharedEngine* ofHost() {
    auto context = GLContext::wrap(globalContextHandle());
    return context ? new SharedEngine(std::move(context), _globalZQBufferPool) : nullptr;
  }

  const std::shared_ptr<GLContext> _context;
  ZQBufferPool* const _pool;
  const pid_t _process = ::getpid();
  std::thread _server;
};

platform::Mutex beginning;  // held while the engine is made
std::atomic<SharedEngine*> theEngine;

}  // namespace

Engine* Engine::shared(const std::shared_ptr<GLContext>& context) try {
  const platform::LockGuard hold(beginning);
  if (!theEngine) {
    theEngine = SharedEngine::begin(context);
    if (theEngine) std::atexit([] { theEngine.load()->end(); });
  }
  return theEngine;
} catch (const std::exception&) {
  return nullptr;
}

}  // namespace brannow
