#include "host/RenderCommand.h"

#include <poll.h>

#include <chrono>
#include <cmath>
#include <iostream>
#include <regex>

#include "Brannow/Brannow.h"
#include "host/FramePattern.h"
#include "host/HostSession.h"
#include "host/Picture.h"
#include "host/StopSignals.h"
#include "host/ValueText.h"
#include "platform/system/Dispatch.h"
#include "platform/system/FileSystem.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr ZQSize kDefaultSize{1280, 720};
/// How long a composition may take to its first picture, and to follow the size that it was given.
constexpr std::chrono::seconds kFirstPictureWait{20};
constexpr std::chrono::milliseconds kSizeWait{500};

struct Failure {
  std::string message;
};

struct Assignment {
  std::string name;
  std::shared_ptr<const ZQVuoPortValue> value;
};

double defaultPixels(const ZQVuoComposition::Port& port, double otherwise) {
  const auto value = port->defaultVal() ? port->defaultVal()->doubleValue() : std::nullopt;
  return value && *value >= 1 ? std::trunc(*value) : otherwise;
}

ZQSize pictureSize(const RenderOptions& options, const ZQVuoComposition& composition) {
  if (!options.size) {
    return {defaultPixels(composition.runnerWidthPort(), kDefaultSize.width),
            defaultPixels(composition.runnerHeightPort(), kDefaultSize.height)};
  }
  static const std::regex form("([1-9][0-9]{0,4})[xX]([1-9][0-9]{0,4})");
  std::smatch match;
  if (!std::regex_match(*options.size, match, form)) {
    throw Failure{"--size " + *options.size + ": needs a size such as 640x360"};
  }
  return {std::stod(match[1]), std::stod(match[2])};
}

bool followsTheScene(const ZQVuoComposition& composition, const ZQVuoComposition::Port& port) {
  return port == composition.runnerWidthPort() || port == composition.runnerHeightPort() ||
         port == composition.runnerTimePort();
}

Assignment parsedAssignment(const std::string& text, const ZQVuoComposition& composition) {
  const auto equals = text.find('=');
  if (equals == std::string::npos) throw Failure{"--set " + text + ": needs NAME=VALUE"};
  const std::string name = text.substr(0, equals);
  const auto port = composition.inputPortNamed(name);
  if (!port) {
    throw Failure{"--set " + text + ": " + composition.fileName() + " has no input " + name};
  }
  if (followsTheScene(composition, port)) {
    throw Failure{"--set " + text + ": " + name + " follows --size and the clock"};
  }
  std::string problem;
  auto value = valueFromText(text.substr(equals + 1), port->portType(), problem);
  if (!value) throw Failure{"--set " + text + ": " + name + " " + problem};
  return {name, std::move(value)};
}

/// Drives one scene the way a host's display loop does.
class Renderer {
 public:
  Renderer(const RenderOptions& options, HostSession& session, LogCapture& log)
      : _options(options), _session(session), _log(log) {}

  void run() {
    const auto composition = readComposition();
    const ZQSize size = pictureSize(_options, *composition);
    std::vector<Assignment> assignments;
    for (const auto& text : _options.assignments) {
      assignments.push_back(parsedAssignment(text, *composition));
    }
    load(size, assignments);
    ZQBufferRef picture = firstPicture(size);
    for (int frame = 1;; ++frame) {
      write(*picture, frame);
      if (frame == _options.frames || stopSignal() != 0) return;
      waitForNextTick();
      picture = nextPicture();
    }
  }

 private:
  std::shared_ptr<ZQVuoComposition> readComposition() {
    auto composition = ZQVuoComposition::initWithPath(_options.file);
    if (!platform::readTextFile(_options.file)) {
      throw Failure{
          "can't read " + _options.file +
          (platform::itemExists(_options.file) ? ": not a UTF-8 text file" : ": no such file")};
    }
    if (!composition->conformsToVuoProtocol(ZQVuoProtocol_ImageGenerator)) {
      throw Failure{_options.file +
                    " is no image generator: it needs the published inputs width and height and "
                    "the published image output outputImage"};
    }
    return composition;
  }

  /// The scene starts at another size than the picture's. Events are processed in order, so once a
  /// picture has the right size, every value that was set before shows in it.
  void load(ZQSize size, const std::vector<Assignment>& assignments) {
    _scene = VuoGLScene::initWithSize(size.width + 1, size.height + 1);
    _scene->setRunnerNewProcess(!_options.inProcess);
    compile();
    _scene->useFile(_options.file, false);
    if (!_scene->readyToRender()) throw Failure{whatWentWrong("can't run " + _options.file)};
    for (const auto& assignment : assignments) {
      _scene->setValue(assignment.value, assignment.name);
    }
    _scene->setSize(size.width, size.height);
    _nextTick = Clock::now();
  }

  /// Fetched ahead of the scene, so that the time that is told is the compiler's alone.
  void compile() {
    const auto& file = _options.file;
    const bool cached = _options.inProcess ? VuoCache::isCachedDylibAvailableForVuoFile(file)
                                           : VuoCache::isCachedExeAvailableForVuoFile(file);
    const auto start = Clock::now();
    const auto item = _options.inProcess ? VuoCache::fetchCachedDylibForVuoFileSynchronously(file)
                                         : VuoCache::fetchCachedExeForVuoFileSynchronously(file);
    if (!item) throw Failure{whatWentWrong("can't compile " + file)};
    const auto took = std::chrono::round<std::chrono::milliseconds>(Clock::now() - start);
    std::cout << (cached ? "from the cache" : "compiled in " + std::to_string(took.count()) + " ms")
              << "\n";
  }

  ZQBufferRef firstPicture(ZQSize size) {
    const auto start = Clock::now();
    ZQBufferRef picture;
    for (;;) {
      picture = _scene->allocAndRenderABuffer();
      if (picture && picture->size() == size) return picture;
      if (picture && Clock::now() - start > kSizeWait) return picture;
      if (stopSignal() != 0) throw Failure{"stopped"};
      if (Clock::now() - start > kFirstPictureWait || !_scene->readyToRender()) {
        throw Failure{whatWentWrong(_options.file + " gave no picture")};
      }
      waitForNextTick();
    }
  }

  /// Waits for a fresh picture, unless the composition has shown that the time does not reach its
  /// picture; that one stays as it is.
  ZQBufferRef nextPicture() {
    if (_timeReachesPicture) {
      (void)_scene->copyAndClearOutValPortNames();
      if (auto picture = _scene->allocAndRenderABuffer()) return picture;
      _timeReachesPicture = false;
    }
    if (auto picture = _scene->allocABuffer()) return picture;
    throw Failure{whatWentWrong(_options.file + " gave no picture")};
  }

  void write(const ZQBuffer& picture, int frame) {
    const std::string pattern =
        _options.output.value_or(platform::lastPathComponent(_options.file) + ".png");
    const std::string file = frameFile(pattern, frame, _options.frames);
    const ZQPixels pixels = _session.pool().readPixels(picture);
    std::string problem;
    if (!host::writePicture(pixels, file, problem))
      throw Failure{"can't write " + file + ": " + problem};
    std::cout << file << "  " << pixels.width << "x" << pixels.height << "\n";
  }

  /// The host's loop: the main queue is served until the display would show the next frame.
  void waitForNextTick() {
    using std::chrono::milliseconds;
    _nextTick += std::chrono::duration_cast<Clock::duration>(
        std::chrono::duration<double>(1 / _options.fps));
    for (;;) {
      const auto left = std::chrono::ceil<milliseconds>(_nextTick - Clock::now());
      if (left <= milliseconds::zero() || stopSignal() != 0) return;
      pollfd queue{platform::MainQueue::shared().fileDescriptor(), POLLIN, 0};
      if (::poll(&queue, 1, static_cast<int>(left.count())) > 0) _session.runMainQueue();
    }
  }

  std::string whatWentWrong(std::string message) {
    const auto alerts = _session.runMainQueue();
    for (const auto& alert : alerts) message += "\n" + alert;
    for (const auto& line : _log.take()) message += "\n" + line;
    return message;
  }

  const RenderOptions& _options;
  HostSession& _session;
  LogCapture& _log;
  std::shared_ptr<VuoGLScene> _scene;
  Clock::time_point _nextTick;
  bool _timeReachesPicture = true;
};

}  // namespace

int render(const RenderOptions& options) {
  LogCapture log;
  const auto session = HostSession::begin(options.cacheFolder);
  if (!session) return 1;
  (void)log.take();
  try {
    catchStopSignals();
    Renderer(options, *session, log).run();
    return stopSignal() == 0 ? 0 : 128 + stopSignal();
  } catch (const Failure& failure) {
    std::cerr << "brannow: " << failure.message << "\n";
    return 1;
  }
}
