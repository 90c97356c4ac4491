#include "host/HostSession.h"

#include <poll.h>
#include <syslog.h>

#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <utility>

#include "Brannow/Alert.h"
#include "Brannow/Brannow.h"
#include "Brannow/Log.h"
#include "Brannow/MainQueue.h"
#include "Brannow/Notifications.h"
#include "host/TerminalText.h"
#include "platform/system/FileSystem.h"

LogSilencer::LogSilencer() {
  brannow::setLogSink([](const std::string&) {});
}

LogSilencer::~LogSilencer() {
  brannow::setLogSink({});
}

namespace {

constexpr std::size_t kMostWarnings = 100;

}  // namespace

std::unique_ptr<HostSession> HostSession::begin(const std::string& cacheFolder) {
  return begin(cacheFolder, brannow::GLContext::createRoot());
}

std::unique_ptr<HostSession> HostSession::begin(const std::string& cacheFolder,
                                                std::shared_ptr<brannow::GLContext> context) {
  std::unique_ptr<HostSession> session(new HostSession);
  session->_context = std::move(context);
  if (session->_context) session->_pool = ZQBufferPool::create(session->_context->handle());
  if (!session->_pool) {
    std::cerr << "brannow: this machine offers no OpenGL 3.3 core through EGL\n";
    return nullptr;
  }
  _globalZQBufferPool = session->_pool.get();
  VuoGLScene::setGlobalVuoGLContext(session->_context);
  brannow::setAlertPresenter([alerts = &session->_alerts](const brannow::Alert& alert) {
    alerts->push_back(alert.informativeText);
    return std::size_t{0};
  });
  brannow::setLogSink(
      [taker = session.get()](const std::string& line) { taker->takeLogLine(line); });
  VuoCache::configGlobalCacheWithSavePath(cacheFolder);
  return session;
}

HostSession::~HostSession() {
  brannow::postNotification(brannow::NSApplicationWillTerminateNotification);
  // Compositions are still ending in the background; a program must not end under them.
  brannow::finishQueues();
  brannow::setAlertPresenter({});
  brannow::setLogSink({});
  _globalZQBufferPool = nullptr;
}

/// Whoever has started the command reads on standard error what a composition does otherwise than
/// it was meant.
void HostSession::takeLogLine(const std::string& line) {
  constexpr std::string_view mark = "\t\twarning: ";
  if (!line.starts_with(mark)) {
    syslog(LOG_USER | LOG_NOTICE, "%s", line.c_str());
    return;
  }
  const std::string warning = line.substr(mark.size());
  std::cerr << terminalText("brannow: warning: " + warning) << "\n";
  platform::LockGuard hold(_warningsLock);
  _warnings.push_back(warning);
  if (_warnings.size() > kMostWarnings) _warnings.pop_front();
}

std::vector<std::string> HostSession::popWarnings() {
  platform::LockGuard hold(_warningsLock);
  const std::vector<std::string> warnings(_warnings.begin(), _warnings.end());
  _warnings.clear();
  return warnings;
}

std::vector<std::string> HostSession::runMainQueue() {
  brannow::MainQueue::shared().runDue();
  return std::exchange(_alerts, {});
}

VuoSceneStatus HostSession::awaitLoad(const VuoGLScene& scene) {
  auto& queue = brannow::MainQueue::shared();
  while (scene.status().state == VuoSceneStatus::State::Loading) {
    pollfd due{queue.fileDescriptor(), POLLIN, 0};
    ::poll(&due, 1, -1);
    queue.runDue();
  }
  return scene.status();
}

std::string pathForCache(const std::string& file) {
  return std::filesystem::absolute(file).lexically_normal().string();
}

std::string defaultCacheFolder() {
  const char* folder = std::getenv("XDG_CACHE_HOME");
  if (folder && *folder == '/') return std::string(folder) + "/brannow";
  return platform::expandTilde("~/.cache/brannow");
}
