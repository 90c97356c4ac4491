#include "host/SceneDriver.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <iostream>

#include "host/Picture.h"
#include "host/StopSignals.h"
#include "host/ValueText.h"
#include "platform/system/Dispatch.h"
#include "platform/system/FileSystem.h"

using Clock = std::chrono::steady_clock;

std::shared_ptr<ZQVuoComposition> readComposition(const std::string& file) {
  if (!platform::readTextFile(file)) {
    throw Failure{"can't read " + file +
                  (platform::itemExists(file) ? ": not a UTF-8 text file" : ": no such file")};
  }
  return ZQVuoComposition::initWithPath(file);
}

SceneDriver::SceneDriver(const SceneOptions& options, std::shared_ptr<ZQVuoComposition> composition,
                         HostSession& session, LogCapture& log)
    : _options(options),
      _composition(std::move(composition)),
      _session(session),
      _log(log),
      _fps(options.fps),
      _say(options.output == "-" ? std::cerr : std::cout) {
  parseInputs();
}

SceneDriver::~SceneDriver() {
  if (_scene) _scene->prepareToBeDeleted();
}

/// Splits "NAME=REST" and checks that the composition has such an input.
std::string SceneDriver::namedInput(const std::string& text, const char* option,
                                    std::string& name) const {
  const auto equals = text.find('=');
  const std::string words = std::string(option) + " " + text + ": ";
  if (equals == std::string::npos) throw Failure{words + "needs NAME=VALUE"};
  name = text.substr(0, equals);
  const auto port = _composition->inputPortNamed(name);
  if (!port) throw Failure{words + _composition->fileName() + " has no input " + name};
  if (port == _composition->runnerWidthPort() || port == _composition->runnerHeightPort() ||
      port == _composition->runnerTimePort() || port == _composition->runnerImageInputPort()) {
    throw Failure{words + name + " follows the size, the clock or the input picture"};
  }
  return text.substr(equals + 1);
}

void SceneDriver::parseInputs() {
  std::string name;
  for (const auto& text : _options.assignments) {
    const std::string rest = namedInput(text, "--set", name);
    std::string problem;
    auto value = valueFromText(rest, _composition->inputPortNamed(name)->portType(), problem);
    if (!value) throw Failure{"--set " + text + ": " + name + " " + problem};
    _values.emplace_back(name, std::move(value));
  }
  for (const auto& text : _options.images) {
    const std::string rest = namedInput(text, "--image", name);
    if (_composition->inputPortNamed(name)->portType() != ZQVuoPortType_Image) {
      throw Failure{"--image " + text + ": " + name + " takes a value, not an image"};
    }
    std::string problem;
    const auto pixels = host::readPicture(rest, problem);
    if (!pixels) throw Failure{"--image " + text + ": " + problem};
    _images.emplace_back(name, _session.pool().allocBufferWithPixels(*pixels));
  }
  for (const auto& output : _options.printed) {
    if (!_composition->outputPortNamed(output)) {
      throw Failure{"--print " + output + ": " + _composition->fileName() + " has no such output"};
    }
  }
}

void SceneDriver::load(ZQSize size) {
  _scene = VuoGLScene::initWithSize(size.width, size.height);
  _scene->setRunnerNewProcess(!_options.inProcess);
  compile();
  _scene->useFile(pathForCache(_options.file), false);
  const auto lines = _log.take();
  const auto saysNotStarted = [](const std::string& line) {
    return line.find("trying to load .vuo comp!") != std::string::npos;
  };
  if (!_scene->readyToRender() || std::any_of(lines.begin(), lines.end(), saysNotStarted)) {
    fail("can't run " + _options.file);
  }
  for (const auto& [name, value] : _values) _scene->setValue(value, name);
  for (const auto& [name, image] : _images) _scene->setBuffer(image, name);
  _nextTick = Clock::now();
}

/// Fetched ahead of the scene, so that the time that is told is the compiler's alone.
void SceneDriver::compile() {
  const std::string file = pathForCache(_options.file);
  const bool cached = _options.inProcess ? VuoCache::isCachedDylibAvailableForVuoFile(file)
                                         : VuoCache::isCachedExeAvailableForVuoFile(file);
  const auto start = Clock::now();
  const auto item = _options.inProcess ? VuoCache::fetchCachedDylibForVuoFileSynchronously(file)
                                       : VuoCache::fetchCachedExeForVuoFileSynchronously(file);
  if (!item) fail("can't compile " + _options.file);
  const auto took = std::chrono::round<std::chrono::milliseconds>(Clock::now() - start);
  _say << (cached ? "from the cache" : "compiled in " + std::to_string(took.count()) + " ms")
       << "\n";
}

bool SceneDriver::waitForNextTick() {
  using std::chrono::milliseconds;
  const auto frame = std::chrono::duration<double>(1 / _options.fps);
  _nextTick += std::chrono::duration_cast<Clock::duration>(frame);
  for (;;) {
    if (stopSignal() != 0) return false;
    const auto left = std::chrono::ceil<milliseconds>(_nextTick - Clock::now());
    if (left <= milliseconds::zero()) return true;
    pollfd queue{platform::MainQueue::shared().fileDescriptor(), POLLIN, 0};
    if (::poll(&queue, 1, static_cast<int>(left.count())) > 0) _session.runMainQueue();
  }
}

void SceneDriver::write(const ZQBuffer& picture, int index, int count) {
  const std::string name =
      _options.output.value_or(platform::lastPathComponent(_options.file) + ".png");
  if (!_sink)
    _sink = name == "-" ? videoToStandardOutput(_options.format, _fps) : pictureFiles(name);
  tell(_sink->write(_session.pool().readPixels(picture), index, count), index, count);
  printOutputs();
}

/// On a terminal the frames of a video are a bar that grows; elsewhere they pass without a word.
void SceneDriver::tell(const std::string& line, int index, int count) {
  if (_options.output != "-") {
    _say << line << "\n";
  } else if (::isatty(STDERR_FILENO)) {
    constexpr int kWidth = 40;
    const int done = count > 0 ? kWidth * index / count : 0;
    _say << "\r" << line;
    if (count > 0)
      _say << "  [" << std::string(done, '#') << std::string(kWidth - done, ' ') << "]";
    _say << (index == count ? "\n" : "") << std::flush;
  }
}

void SceneDriver::printOutputs() {
  for (const auto& name : _options.printed) {
    const VuoOutput output = _scene->allocValueForOutputKey(name);
    _say << name << " = ";
    if (output.value) {
      _say << textFromValue(*output.value);
    } else if (output.buffer) {
      _say << output.buffer->size().width << "x" << output.buffer->size().height << " image";
    } else {
      _say << "nothing";
    }
    _say << "\n";
  }
}

void SceneDriver::fail(std::string message) {
  for (const auto& alert : _session.runMainQueue()) message += "\n" + alert;
  const auto lines = _log.take();
  for (auto line = lines.begin(); line != lines.end(); ++line) {
    if (std::find(lines.begin(), line, *line) == line) message += "\n" + *line;
  }
  throw Failure{message};
}

int withSession(const std::string& cacheFolder,
                const std::function<void(HostSession&, LogCapture&)>& work) {
  LogCapture log;
  const auto session = HostSession::begin(cacheFolder);
  if (!session) return 1;
  (void)log.take();
  catchStopSignals();
  try {
    work(*session, log);
    return stopSignal() == 0 ? 0 : 128 + stopSignal();
  } catch (const ReaderGone&) {
    return 0;
  } catch (const Failure& failure) {
    std::cerr << "brannow: " << failure.message << "\n";
    return 1;
  }
}
