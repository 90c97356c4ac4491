// What a program sets up once before it uses scenes, and puts away at its end.
#pragma once

#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "Brannow/GLContext.h"
#include "Brannow/VuoGLScene.h"
#include "Brannow/ZQBufferPool.h"
#include "platform/system/Mutex.h"

/// Nothing that the framework logs goes to the system log while it exists.
class LogSilencer {
 public:
  LogSilencer();
  ~LogSilencer();
  LogSilencer(const LogSilencer&) = delete;
  LogSilencer& operator=(const LogSilencer&) = delete;
};

/// A root GL context, the process-wide buffer pool and the configured cache. Alerts are collected
/// instead of shown; of what is logged, warnings are written to standard error.
class HostSession {
 public:
  /// With a root context of its own. Null, with a message on standard error, when this machine
  /// offers no OpenGL.
  static std::unique_ptr<HostSession> begin(const std::string& cacheFolder);
  /// With the program's own context, which it keeps until the session has ended.
  static std::unique_ptr<HostSession> begin(const std::string& cacheFolder,
                                            std::shared_ptr<brannow::GLContext> context);
  /// Tells the framework that the application ends.
  ~HostSession();

  ZQBufferPool& pool() { return *_pool; }
  const brannow::GLContext& context() const { return *_context; }
  /// Runs what is due on the main queue and returns the texts of the alerts that came up.
  std::vector<std::string> runMainQueue();
  /// The same until the scene's load has come to its end, one way or the other.
  VuoSceneStatus awaitLoad(const VuoGLScene& scene);
  /// The latest warnings since the last call. Forgets them.
  std::vector<std::string> popWarnings();

 private:
  HostSession() = default;
  void takeLogLine(const std::string& line);

  std::shared_ptr<brannow::GLContext> _context;
  std::unique_ptr<ZQBufferPool> _pool;
  std::vector<std::string> _alerts;
  platform::Mutex _warningsLock;
  std::deque<std::string> _warnings GUARDED_BY(_warningsLock);
};

/// The file's whole path: the cache knows a composition by nothing else.
std::string pathForCache(const std::string& file);

/// The user's cache folder for this command (XDG).
std::string defaultCacheFolder();
