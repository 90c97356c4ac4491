#include "host/SceneDriver.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <iostream>

#include "Brannow/CompositionCheck.h"
#include "host/DrawingLimit.h"
#include "host/Picture.h"
#include "host/PixelSize.h"
#include "host/Preset.h"
#include "host/ProblemText.h"
#include "host/ShortestDigits.h"
#include "host/StandardOutput.h"
#include "host/StopSignals.h"
#include "host/TerminalText.h"
#include "host/ValueText.h"
#include "platform/system/FileSystem.h"

using std::chrono::nanoseconds;

namespace {

/// How many frames are asked for at a time: one is drawn while the one before is written.
constexpr std::size_t kAskedAtOnce = 2;

}  // namespace

std::shared_ptr<ZQVuoComposition> readComposition(const std::string& file) {
  auto composition = ZQVuoComposition::initWithPath(file);
  const auto& problems = composition->problems();
  if (!problems.empty() && isOfWholeFile(problems.front())) {
    throw Failure{file + ": " + problems.front().text};
  }
  for (const auto& problem : problems) std::cerr << shownProblem(problem, file);
  return composition;
}

Failure refusal(const std::string& file, const std::string& lack) {
  std::string errors;
  for (const auto& fault : brannow::checkComposition(file))
    if (!fault.isWarning) errors += "\n" + terminalText(descriptionOf(fault));
  return errors.empty() ? Failure{file + " " + lack} : Failure{"can't run " + file + errors};
}

SceneDriver::SceneDriver(const SceneOptions& options, std::shared_ptr<ZQVuoComposition> composition,
                         HostSession& session)
    : _options(options),
      _composition(std::move(composition)),
      _session(session),
      _rate(options.rate) {
  readInputs();
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
  if (isTheHosts(*_composition, port)) {
    throw Failure{words + name + " follows the size, the clock or the input picture"};
  }
  return text.substr(equals + 1);
}

void SceneDriver::readInputs() {
  if (!_options.preset) return;
  Preset preset = readPreset(*_options.preset, *_composition);
  _values = std::move(preset.values);
  for (const auto& [name, file] : preset.imageFiles)
    _images[name] = pictureIn(file, "--preset " + *_options.preset);
}

/// What is named one by one goes before what a preset says.
void SceneDriver::parseInputs() {
  std::string name;
  for (const auto& text : _options.assignments) {
    std::string rest = namedInput(text, "--set", name);
    const auto port = _composition->inputPortNamed(name);
    const bool isFile = port == _composition->runnerTxtSrcFileInputPort();
    if (isFile && !rest.empty()) rest = std::filesystem::absolute(rest);
    std::string problem;
    auto value = valueFromText(rest, port->portType(), problem);
    if (!value) throw Failure{"--set " + text + ": " + name + " " + problem};
    _values[name] = std::move(value);
  }
  for (const auto& text : _options.images) {
    const std::string rest = namedInput(text, "--image", name);
    if (_composition->inputPortNamed(name)->portType() != ZQVuoPortType_Image) {
      throw Failure{"--image " + text + ": " + name + " takes a value, not an image"};
    }
    _images[name] = pictureIn(rest, "--image " + text);
  }
  for (const auto& output : _options.printed) {
    if (!_composition->outputPortNamed(output)) {
      throw Failure{"--print " + output + ": " + _composition->fileName() + " has no such output"};
    }
  }
}

ZQBufferRef SceneDriver::pictureIn(const std::string& file, const std::string& words) const {
  std::string problem;
  const auto pixels = host::readPicture(file, problem);
  if (!pixels) throw Failure{words + ": " + problem};
  auto image = _session.pool().allocBufferWithPixels(*pixels);
  if (!image) {
    const ZQSize size{static_cast<double>(pixels->width), static_cast<double>(pixels->height)};
    requireDrawable(_session.context(), size, words);
    throw Failure{words + ": there is no room for the picture on the GPU"};
  }
  return image;
}

void SceneDriver::load() {
  const std::string name =
      _options.output.value_or(platform::lastPathComponent(_options.file) + ".png");
  _sink = name == "-" ? videoToStandardOutput(_options.format, _rate) : pictureFiles(name);
  // What it draws at its start nobody sees, so that is as little as can be.
  _scene = VuoGLScene::initWithSize(1, 1);
  _scene->setRunnerNewProcess(!_options.inProcess);
  _scene->setEventPatience(std::nullopt);
  const std::string file = pathForCache(_options.file);
  const auto start = Clock::now();
  _scene->useFile(file);
  tellHowLoaded(file, start);
  const VuoSceneStatus status = _session.awaitLoad(*_scene);
  if (status.state != VuoSceneStatus::State::Running) {
    throw Failure{"can't run " + _options.file + ": " + status.message};
  }
}

/// Says whether it was compiled; throws Failure where that failed.
void SceneDriver::tellHowLoaded(const std::string& file, Clock::time_point start) {
  const auto compile = VuoCache::lastCompileForVuoFile(file);
  if (!compile || compile->began < start) return say("from the cache");
  if (compile->failure) throw Failure{"can't compile " + _options.file + "\n" + *compile->failure};
  const auto took = std::chrono::round<std::chrono::milliseconds>(compile->took);
  say("compiled in " + std::to_string(took.count()) + " ms");
}

void SceneDriver::run(const Requests& requests, const std::function<bool()>& isReady, int count) {
  // A wait has no other end than the composition's.
  const AtStopSignal unload([scene = _scene] { scene->prepareToBeDeleted(); });
  _progress.show(0, count);
  while (stopSignal() == 0) {
    if (_asked.empty() && !ask(requests)) return;
    while (_asked.size() < kAskedAtOnce && isReady() && ask(requests)) {
    }
    const Asked asked = _asked.front();
    const auto frame = collect(asked, count);
    if (!frame) return;
    _asked.pop_front();
    write(*frame, asked.index, count);
  }
}

/// False when there are no more requests.
bool SceneDriver::ask(const Requests& requests) {
  if (!_moreRequests) return false;
  auto request = requests(_lastIndex + 1);
  _moreRequests = request.has_value();
  if (!request) return false;
  if (++_lastIndex == 1) {
    request->values.insert(_values.begin(), _values.end());
    request->images.insert(_images.begin(), _images.end());
  }
  _asked.push_back({_lastIndex, _scene->askForFrame(*request)});
  return true;
}

/// None when the user asked the program to stop.
std::optional<VuoFrame> SceneDriver::collect(const Asked& asked, int count) {
  VuoFrame frame = waitFor(asked, count);
  if (frame.answer == VuoFrame::Answer::Fresh || frame.answer == VuoFrame::Answer::Repeated)
    return frame;
  if (stopSignal() != 0) return std::nullopt;
  _progress.clear();
  const std::string name = _options.file + ": frame " + std::to_string(asked.index);
  if (frame.answer == VuoFrame::Answer::Late) {
    throw Failure{name + " was not there after " + shortestDigits(*_options.timeout) + " s"};
  }
  throw Failure{name + " could not be made. " + frame.message};
}

/// On a terminal somebody watches, and is told every second that the wait goes on.
VuoFrame SceneDriver::waitFor(const Asked& asked, int count) {
  using std::chrono::seconds;
  const auto start = Clock::now();
  for (;;) {
    const auto waited = Clock::now() - start;
    VuoGLScene::Patience longest;
    if (_options.timeout) longest = nanoseconds(std::llround(*_options.timeout * 1e9)) - waited;
    const bool isLast = !_progress.isShown() || (longest && *longest <= seconds(1));
    VuoFrame frame = _scene->takeFrame(asked.frame, isLast ? longest : seconds(1));
    if (isLast || frame.answer != VuoFrame::Answer::Late) return frame;
    _progress.show(asked.index - 1, count, std::chrono::floor<seconds>(Clock::now() - start));
  }
}

void SceneDriver::write(const VuoFrame& frame, int index, int count) {
  _session.pool().readPixels(*frame.buffer, _pixels);
  const std::string line = _sink->write(_pixels, index, count);
  if (_options.output != "-") say(line);
  if (const auto loss = _sink->loss(); !loss.empty()) say(line + ": " + loss);
  for (const auto& name : _options.printed) say(name + " = " + printedOutput(name, frame));
  _progress.show(index, count);
}

/// Standard output may carry the video.
void SceneDriver::say(const std::string& line) {
  _progress.clear();
  if (_options.output == "-") {
    std::cerr << line << "\n";
    return;
  }
  std::cout << line << "\n";
  try {
    flushStandardOutput();
  } catch (const ReaderGone&) {  // the pictures are still wanted
  }
}

std::string SceneDriver::printedOutput(const std::string& name, const VuoFrame& frame) const {
  if (const auto value = frame.output(name)) return textFromValue(*value);
  const ZQBufferRef image = frame.image(name);
  if (!image) return "nothing";
  return textFromSize(image->size()) + " image";
}

int withSession(const std::string& cacheFolder, const std::function<void(HostSession&)>& work) {
  const auto session = HostSession::begin(cacheFolder);
  if (!session) return 1;
  catchStopSignals();
  try {
    work(*session);
    return stopSignal() == 0 ? 0 : 128 + stopSignal();
  } catch (const ReaderGone&) {
    return 0;
  } catch (const Failure& failure) {
    std::cerr << "brannow: " << failure.message << "\n";
    return 1;
  }
}
