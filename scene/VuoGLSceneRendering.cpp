// Frames: pushing the time and the host's picture in, waiting for the composition's picture.
#include <chrono>
#include <utility>

#include "platform/system/FileSystem.h"
#include "platform/system/SystemLog.h"
#include "runtime/VuoValues.h"
#include "scene/Guarded.h"
#include "scene/JsonValue.h"
#include "scene/Retained.h"
#include "scene/VuoGLSceneState.h"

using platform::systemLog;

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kGeneratorWait{500};
constexpr std::chrono::milliseconds kFilterWait{50};

std::optional<std::string> nameOf(const ZQVuoComposition::Port& port) {
  return port ? std::optional(port->portName()) : std::nullopt;
}

}  // namespace

bool VuoGLScene::readyToRender() const {
  if (_state->deleted) return false;
  platform::LockGuard hold(_state->runnerLock);
  return _state->runner != nullptr;
}

void VuoGLScene::startRendering() {
  constexpr const char* kName = "-[VuoGLScene startRendering]";
  const auto composition = _state->_compositionToRender(kName);
  if (!composition) return;
  platform::LockGuard hold(_state->runnerLock);
  if (_state->deleted || !_state->runner) return;
  guarded(kName, [&]() REQUIRES(_state->runnerLock) { _state->_pushTime(*composition); });
}

ZQBufferRef VuoGLScene::allocABuffer() try {
  const auto composition = _state->_compositionToRender("-[VuoGLScene allocABuffer]");
  if (!composition) return nullptr;
  return allocValueForOutputKey(nameOf(composition->runnerImageOutputPort())).buffer;
} catch (const std::bad_alloc&) {
  return nullptr;
}

ZQBufferRef VuoGLScene::allocAndRenderABuffer() try {
  constexpr const char* kName = "-[VuoGLScene allocAndRenderABuffer]";
  const auto composition = _state->_compositionToRender(kName);
  if (!composition) return nullptr;

  bool pushed = false;
  {
    platform::LockGuard hold(_state->runnerLock);
    if (!_state->deleted && _state->runner) {
      guarded(kName,
              [&]() REQUIRES(_state->runnerLock) { pushed = _state->_pushTime(*composition); });
    }
  }
  const Key output = nameOf(composition->runnerImageOutputPort());
  if (pushed && !_state->_waitForOutput(output, kGeneratorWait, kName)) return nullptr;
  return allocValueForOutputKey(output).buffer;
} catch (const std::bad_alloc&) {
  return nullptr;
}

ZQBufferRef VuoGLScene::runFilterOnFrame(const ZQBufferRef& frame) try {
  constexpr const char* kName = "-[VuoGLScene runFilterOnFrame:]";
  if (!frame || _state->deleted) return nullptr;
  const auto composition = comp();
  if (!composition || !composition->conformsToVuoProtocol(ZQVuoProtocol_ImageFilter)) return frame;

  {
    platform::LockGuard hold(_state->runnerLock);
    if (!_state->deleted && _state->runner) {
      guarded(
          kName, [&]() REQUIRES(_state->runnerLock) { _state->_pushTime(*composition); },
          "\t\terr: caught exception A in %s");
      guarded(
          kName, [&]() REQUIRES(_state->runnerLock) { _state->_pushFrame(*composition, *frame); },
          "\t\terr: caught exception B in %s");
    }
  }
  const Key output = nameOf(composition->runnerImageOutputPort());
  if (!_state->_waitForOutput(output, kFilterWait, kName)) return nullptr;
  return allocValueForOutputKey(output).buffer;
} catch (const std::bad_alloc&) {
  return nullptr;
}

/// The description that a frame works on to its end, even if the scene gets another file meanwhile.
std::shared_ptr<ZQVuoComposition> VuoGLScene::State::_compositionToRender(
    const char* operation) const {
  if (deleted) {
    systemLog("\t\terr: bailing immediately, %s", {operation});
    return nullptr;
  }
  auto composition = scene.comp();
  if (!composition) systemLog("\t\terr: bailing, localComp nil, %s", {operation});
  return composition;
}

/// True when the composition has been told the time.
bool VuoGLScene::State::_pushTime(const ZQVuoComposition& composition) {
  if (!composition.runnerTimePort()) return false;
  VuoRunner::Port* port =
      runner->getPublishedInputPortWithName(composition.runnerTimePort()->portName());
  if (!port) return false;
  const JsonValue value(VuoReal_getJson(_secondsSinceLoad()));
  if (!value) return false;
  runner->setPublishedInputPortValue(port, value.get());
  runner->firePublishedInputPortEvent(port);
  return true;
}

double VuoGLScene::State::_secondsSinceLoad() const {
  platform::LockGuard hold(propLock);
  if (!loadDate) return 0;
  const auto elapsed = std::chrono::system_clock::now() - *loadDate;
  return std::chrono::duration<double>(elapsed).count();
}

void VuoGLScene::State::_pushFrame(const ZQVuoComposition& composition, ZQBuffer& frame) {
  const Retained<VuoImage> image(_vuoImageForBuffer(frame));
  if (!image.get() || !composition.runnerImageInputPort()) return;
  VuoRunner::Port* port =
      runner->getPublishedInputPortWithName(composition.runnerImageInputPort()->portName());
  if (port) _pushVuoImage(image.get(), port);
}

/// False, with a log line, when the output has not been reported by the deadline.
bool VuoGLScene::State::_waitForOutput(const Key& key, std::chrono::milliseconds longest,
                                       const char* operation) {
  const auto deadline = Clock::now() + longest;
  std::uint64_t reportsBefore = outValReports;
  const auto reported = [&] { return key && runnerOutValPortNames.lockContainsObject(*key); };
  const auto reportedSince = [&] {
    const std::uint64_t reports = outValReports;
    return std::exchange(reportsBefore, reports) != reports && reported();
  };
  if (reported()) return true;
  if (key && stayAwake.until(deadline, reportedSince)) return true;
  {
    platform::UniqueLock hold(outValReportLock);
    bool isReported = reported();
    for (bool isInTime = true; !isReported && isInTime; isReported = reported())
      isInTime = outValReported.wait_until(hold, deadline);
    if (isReported) return true;
  }
  const Path path = scene.filePath();
  const auto name = path ? std::optional(platform::lastPathComponent(*path)) : std::nullopt;
  systemLog("\t\tERR: frame took too long to render, %@, %s", {name, operation});
  return false;
}
