// Brannow in a program that is somebody else's: what its plug-ins share.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "Brannow/BrannowExport.h"
#include "Brannow/GLContext.h"
#include "Brannow/VuoGLScene.h"
#include "Brannow/ZQBuffer.h"
#include "Brannow/ZQBufferPool.h"

namespace brannow {

/// What a host sets up once (Brannow.h, LIFE), for code that is not the host: a plug-in, a module
/// of a scripting language. Several of them in one process, which know nothing of each other, use
/// the same engine.
///
///   auto* engine = brannow::Engine::shared();            // null: no OpenGL here
///   brannow::Engine::SceneOptions options;
///   options.file = "/where/clouds.vuo";
///   std::string problem;
///   auto scene = engine->loadScene(options, problem);    // null: `problem` tells why
///
/// It has a thread that serves the main queue, and it ends by itself with the process: its scenes
/// are unloaded and the cache's records are written. Where the program is a host of Brannow's
/// already, with a pool and a context, the engine takes these and the program goes on serving the
/// queue and ending the framework. Code that uses it must not be unloaded from the process.
///
/// Every operation may be called from any thread but the one that serves the main queue.
class BRANNOW_API Engine {
 public:
  /// The process's engine, made at the first call. `context` is then the one in whose share group
  /// compositions draw, kept for ever; none: one of the engine's own. Later calls ignore it:
  /// compare `context()`. Compiled compositions go to a folder of the program's own in
  /// $XDG_CACHE_HOME/brannow/programs or ~/.cache/brannow/programs; where that can't be written, to
  /// a temporary one that ends with the process. Null, and tried anew at the next call, when this
  /// machine offers no OpenGL or no thread.
  static Engine* shared(const std::shared_ptr<GLContext>& context = nullptr);

  /// The root of the share group.
  virtual const GLContext& context() const = 0;
  virtual ZQBufferPool& pool() const = 0;

  struct SceneOptions {
    std::string file;   ///< relative to the working folder, or absolute
    ZQSize size{1, 1};  ///< in pixels, until a request says another
    bool inProcess = false;
    /// As for `VuoGLScene::setEventPatience`.
    VuoGLScene::Patience eventPatience = std::chrono::seconds(10);
  };
  /// A scene that runs the file. Waits for its compile, where one is needed, and until the
  /// composition has come up. Null when that failed; `problem` has then what the compiler said, or
  /// why it did not come up. It is unloaded when it is no longer held, and at the process's end.
  virtual std::shared_ptr<VuoGLScene> loadScene(const SceneOptions& options,
                                                std::string& problem) = 0;

 protected:
  ~Engine() = default;  // it lives as long as the process
};

}  // namespace brannow
