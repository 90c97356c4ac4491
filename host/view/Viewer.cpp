#include "host/view/Viewer.h"

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <utility>

#include "host/Failure.h"
#include "host/view/FreeName.h"
#include "host/view/PictureDrawing.h"
#include "platform/system/FileSystem.h"

namespace {

constexpr std::chrono::milliseconds kIdleTick{50};
constexpr std::chrono::milliseconds kIdleTurn{15};
constexpr std::chrono::milliseconds kLoadingTurn{2};
constexpr std::chrono::milliseconds kBetweenOutputs{150};
constexpr std::chrono::seconds kNoticeTime{4};
/// What reads a text file looks at it twice, ten times a second, when there is a frame to be drawn.
constexpr std::chrono::milliseconds kTextSettles{250};
constexpr double kStepsPerSecond = 30;

}  // namespace

std::optional<std::string> whyNotShown(const std::string& file) {
  const auto composition = ZQVuoComposition::initWithPath(file);
  if (composition->protocol() != 0) return std::nullopt;
  return firstProblem(*composition, "is neither an image generator nor a filter");
}

Viewer::Viewer(const ViewOptions& options, ViewWindow& window, HostSession& session)
    : _window(window),
      _session(session),
      _player(!options.inProcess),
      _input(session.pool(), window.pixels(), !options.inProcess),
      _state{_player, _input, _values, _history, {}, ShowClock(options.start, options.isPaused)},
      _panel(_state, *this, _chooser),
      _size(window.pixels()),
      _recordingRate(options.recordRate),
      _saver(session.pool()) {
  _player.setFirstRequest([this] { return firstRequest(); });
  _player.setWhenStarted([this](const ZQBufferRef& firstPicture) { started(firstPicture); });
  _input.setWhenChanged([this] { _isOutdated = true; });
  if (options.osc) {
    _osc.emplace(*options.osc);
    std::cout << "listening to OSC on " << _osc->where() << std::endl;
  }
  if (options.record) _recordingAtStart.emplace(*options.record);
  if (options.input) _input.choose(*options.input);
  if (options.preset)
    _presetAtStart = readPreset(*options.preset, *ZQVuoComposition::initWithPath(options.file));
  if (options.outputDisplay > 0) openOutput(options.outputDisplay);
  followSize();
  open(options.file);
}

Viewer::~Viewer() {
  // Ends the wait for frames that are being drawn.
  _player.end();
  if (_input.generator()) _input.generator()->end();
}

void Viewer::run() {
  while (!_window.closeRequested()) {
    waitForNextTick();
    serve();
    takeOsc();
    rereadChosenFiles();
    followSize();
    showFrames();
    record();
    askForFrame();
    if (!_window.isHidden()) draw();
    if (_output) _output->draw(_picture);
  }
  closeOutput();
  _window.hide();  // what runs may take its time to end
  if (_recording) {
    _recording->stop(Clock::now());
    _recording->finish();
    tellWhatWasRecorded();
  }
  tellWhatWasSaved(_saver.finish());
}

void Viewer::serve() {
  for (const auto& alert : _session.runMainQueue())
    std::cerr << "brannow: " << alert << std::endl;  // the panel shows it, too
  warn(_session.popWarnings());
  _player.poll();
  _input.poll();
  tellWhatWasSaved(_saver.popResults());
}

/// A little faster than the display, which sets the pace itself where it can. While nothing moves
/// only what the user does brings a new frame soon.
void Viewer::waitForNextTick() {
  const auto period = (_output ? _output->displayPeriod() : _window.displayPeriod()) * 19 / 20;
  _nextTick = std::max(_nextTick + period, Clock::now());
  if (isLoading()) return serveUntilNextTick();
  if (isIdle()) return waitIdly();
  handle(_window.waitForEvents(_nextTick, _nextTick));
}

bool Viewer::isLoading() const {
  const auto loads = [](const ScenePlayer* player) {
    return player && player->state() == ScenePlayer::State::Loading;
  };
  return loads(&_player) || loads(_input.generator());
}

bool Viewer::isIdle() const {
  return isStill() || !_player.pictures() || (_window.isHidden() && !_output);
}

/// Looks at the files as often as ever, but does not draw for it.
void Viewer::waitIdly() {
  const auto end = _nextTick + kIdleTick;
  while (isIdle() && !isLoading() && Clock::now() < end && !_window.closeRequested()) {
    const WindowEvents events =
        _window.waitForEvents(_nextTick, std::min(Clock::now() + kIdleTurn, end));
    handle(events);
    if (events.any) return;
    serve();
    rereadChosenFiles();
  }
}

/// A load takes several turns of the main queue, none of which is to wait for a tick. Keys get a
/// frame of their own.
void Viewer::serveUntilNextTick() {
  for (auto turn = Clock::now(); turn < _nextTick && !_window.closeRequested();) {
    turn = std::min(turn + kLoadingTurn, _nextTick);
    const WindowEvents events = _window.waitForEvents(turn, turn);
    handle(events);
    if (!events.keys.empty()) return;
    serve();
  }
}

void Viewer::handle(const WindowEvents& events) {
  const bool popupIsOpen =
      ImGui::IsPopupOpen("", ImGuiPopupFlags_AnyPopupId | ImGuiPopupFlags_AnyPopupLevel);
  if (!popupIsOpen) {
    for (const SDL_Keycode key : events.keys) press(key);
  }
  for (const auto& path : events.dropped) drop(path);
  if (events.closesOutput) closeOutput();
}

void Viewer::press(SDL_Keycode key) {
  switch (key) {
    case SDLK_SPACE:
      return togglePause();
    case SDLK_PERIOD:
      return step(1);
    case SDLK_COMMA:
      return step(-1);
    case SDLK_s:
      return savePicture();
    case SDLK_p:
      return savePreset();
    case SDLK_v:
      return toggleRecording();
    case SDLK_f:
      return toggleFullScreen();
    case SDLK_o:
      return toggleOutput();
    case SDLK_r:
      return reload();
    case SDLK_TAB:
      _showsPanel = !_showsPanel;
      return;
    case SDLK_ESCAPE:
      if (_window.isFullScreen()) toggleFullScreen();
      return;
    default:
      return;
  }
}

/// Of what the composition has no input for, or what does not suit it, nothing is said: a program
/// may well send the same to several.
void Viewer::takeOsc() {
  if (!_osc || !_player.composition()) return;
  const auto& composition = *_player.composition();
  for (const auto& [name, arguments] : _osc->popInputs()) {
    const auto port = composition.inputPortNamed(name);
    if (!port || isTheHosts(composition, port)) continue;
    if (const auto value = valueFromOsc(arguments, port->portType())) setValue(*port, *value);
  }
}

void Viewer::step(int frames) {
  _state.clock.step(frames / kStepsPerSecond);
  _isOutdated = true;
}

/// A composition is shown, anything else is a filter's input.
void Viewer::drop(const std::string& path) {
  if (ZQVuoComposition::pathLooksLikeALegitComposition(path)) {
    open(path);
  } else if (isFilter()) {
    chooseInput(path);
  } else {
    notice("Only a filter takes a picture");
  }
}

void Viewer::open(const std::string& file) {
  if (const auto problem = whyNotShown(file)) return notice(*problem);
  _player.open(file);
}

void Viewer::reload() {
  _player.reload();
  if (_input.generator()) _input.generator()->reload();
}

void Viewer::setNewProcess(bool newProcess) {
  _player.setNewProcess(newProcess);
  _input.setNewProcess(newProcess);
}

void Viewer::savePicture() {
  if (!_picture) return notice("There is no picture yet");
  if (!_saver.save(_picture, _startedFile)) notice("Still saving the pictures before");
}

void Viewer::tellWhatWasSaved(const std::vector<PictureSaver::Result>& results) {
  for (const auto& result : results) {
    if (result.problem.empty()) {
      saved(result.file);
    } else {
      notice(result.problem);
      std::cerr << "brannow: " << result.problem << std::endl;
    }
  }
}

void Viewer::saved(const std::string& file) {
  notice("Saved " + file);
  std::cout << "saved " << file << std::endl;
}

void Viewer::toggleOutput() {
  if (_output) return closeOutput();
  const auto display = _window.otherDisplay();
  if (!display) return notice("There is no second display");
  try {
    openOutput(*display);
  } catch (const Failure& failure) {
    notice(failure.message);
  }
}

void Viewer::openOutput(int display) {
  _output.emplace(_window, display);
  _state.hasOutput = true;
}

void Viewer::closeOutput() {
  _output.reset();
  _state.hasOutput = false;
}

void Viewer::toggleRecording() {
  if (!_recording && !_picture) return notice("There is no picture yet");
  try {
    if (!_recording) return record(Y4mFile(freeName(_startedFile, ".y4m")));
  } catch (const Failure& failure) {
    return notice(failure.message);
  }
  _recording->stop(Clock::now());
}

void Viewer::record(Y4mFile file) {
  _recording.emplace(_session.pool(), std::move(file), _recordingRate, _picture, Clock::now());
  _state.recording = &*_recording;
}

void Viewer::record() {
  if (_recordingAtStart && _picture) {
    record(std::move(*_recordingAtStart));
    _recordingAtStart.reset();
  }
  if (!_recording) return;
  _recording->show(_picture, Clock::now());
  if (!_recording->isDone()) return;
  tellWhatWasRecorded();
  _state.recording = nullptr;
  _recording.reset();
}

void Viewer::tellWhatWasRecorded() {
  std::string what =
      _recording->path() + ": " + std::to_string(_recording->writtenFrames()) + " frames";
  if (const auto lost = _recording->lost(); lost > 0)
    what += ", " + std::to_string(lost) + " of them lost";
  std::string loss;
  if (_recording->hadAlpha())
    loss = "The picture was transparent in places, which a video can't hold: its colors are kept";
  if (!_recording->problem().empty()) loss = _recording->problem();
  std::cout << "recorded " << what << std::endl;
  if (!loss.empty()) std::cerr << "brannow: " << loss << std::endl;
  notice("Recorded " + what + (loss.empty() ? "" : "\n" + loss));
}

/// Pictures by their whole paths, so that the preset may go elsewhere.
void Viewer::savePreset() {
  if (!_player.composition()) return notice("There is no composition yet");
  const std::string file = freeName(_startedFile, ".json");
  try {
    writePreset(file, *_player.composition(), _values.preset());
    saved(file);
  } catch (const Failure& failure) {
    notice(failure.message);
  }
}

void Viewer::usePreset(const std::string& file) {
  if (!_player.composition()) return;
  try {
    use(readPreset(file, *_player.composition()));
  } catch (const Failure& failure) {
    notice(failure.message);
  }
}

void Viewer::use(const Preset& preset) {
  const auto port = [&](const std::string& name) {
    return _player.composition()->inputPortNamed(name);
  };
  for (const auto& [name, value] : preset.values) setValue(*port(name), *value);
  for (const auto& [name, file] : preset.imageFiles) setImage(*port(name), file);
}

void Viewer::chooseInput(const std::string& name) {
  try {
    _input.choose(name);
    _isOutdated = true;
  } catch (const Failure& failure) {
    notice(failure.message);
  }
}

void Viewer::setValue(const ZQVuoCompositionPort& port, const ZQVuoPortValue& value) {
  _values.set(port, value);
  _set.values[port.portName()] = std::make_shared<const ZQVuoPortValue>(value);
  _isOutdated = true;
  followTextFile();
}

void Viewer::setImage(const ZQVuoCompositionPort& port, const std::string& file) {
  try {
    FileWatch watch({file});
    auto image = bufferWithPicture(_session.pool(), file);
    _set.images[port.portName()] = image;
    _isOutdated = true;
    _values.setImage(port, file, std::move(watch), std::move(image));
  } catch (const Failure& failure) {
    notice(failure.message);
  }
}

/// The one that the text comes from, whoever has named it.
void Viewer::followTextFile() {
  std::vector<std::string> files;
  if (const auto port = _player.composition()->runnerTxtSrcFileInputPort()) {
    const ZQVuoPortValue value = _values.current(*port);
    const auto* name = value.stringValue();
    const auto folder = std::filesystem::path(_startedFile).parent_path();
    if (name && !name->empty()) files.push_back((folder / *name).string());
  }
  _textFile.follow(files);
}

/// A file that can't be read leaves what was read of it before. During a pause, too.
void Viewer::rereadChosenFiles() {
  const auto now = Clock::now();
  for (const auto& name : _values.popChangedImages(now)) {
    if (const auto port = _player.composition()->inputPortNamed(name))
      setImage(*port, _values.imageFile(*port));
  }
  if (_textFile.changed(now)) _textSettles = now + kTextSettles;
  if (now < _textSettles) _isOutdated = true;
}

/// An image can't be taken back: only a composition that starts again is without it.
void Viewer::backToDefault(const ZQVuoCompositionPort& port) {
  _values.forget(port);
  if (port.portType() == ZQVuoPortType_Image) return _player.reload();
  const ZQVuoPortValue value = _values.current(port);
  _set.values[port.portName()] = std::make_shared<const ZQVuoPortValue>(value);
  _isOutdated = true;
  followTextFile();
}

/// What takes the place of a composition goes on as that one did, with the same in front of it.
VuoFrameRequest Viewer::firstRequest() const {
  const bool goesOn = _startedFile == _player.file();
  VuoFrameRequest request = goesOn ? _values.request() : VuoFrameRequest();
  request.time = goesOn ? _state.clock.now() : _state.clock.start();
  request.size = _size;
  request.image = _filtered;
  return request;
}

/// What was set for one composition is nothing to another one.
void Viewer::started(const ZQBufferRef& firstPicture) {
  if (_startedFile != _player.file()) {
    _startedFile = _player.file();
    _values.clear();
    _state.outputs.clear();
    _history.clear();
    _state.clock.restart();
    _window.setTitle(platform::lastPathComponent(_startedFile) + " - brannow");
  }
  _set = _values.request();
  if (const auto preset = std::exchange(_presetAtStart, std::nullopt)) use(*preset);
  followTextFile();
  _isOutdated = true;
  _problem.clear();
  if (firstPicture) _picture = firstPicture;
}

void Viewer::followSize() {
  const ZQSize size = _output ? _output->pixels() : _window.pixels();
  if (size == _size || size.width < 1 || size.height < 1) return;
  _size = size;
  _input.setSize(size);
  _isOutdated = true;
}

void Viewer::showFrames() {
  for (auto& frame : _maker.popFrames()) {
    if (frame.pictures != _player.pictures()) continue;
    auto& [answer, took] = frame.made;
    if (answer.buffer) _picture = std::move(answer.buffer);
    _filtered = std::move(frame.input);
    if (answer.answer == VuoFrame::Answer::Fresh) _history.add(Clock::now(), took);
    if (frame.outputs) _state.outputs = std::move(*frame.outputs);
    if (!frame.isFinal) _isOutdated = true;
    _problem = std::move(frame.problem);
  }
}

void Viewer::askForFrame() {
  if (!_player.pictures() || (_state.clock.isPaused() && !_isOutdated)) return;
  const auto now = Clock::now();
  FrameMaker::Job job{_player.pictures(),
                      {},
                      std::exchange(_set, {}),
                      _state.clock.isPaused() || now >= _nextOutputs};
  job.request.time = _state.clock.now();
  job.request.size = _size;
  if (isFilter()) job.input = _input.frames();
  if (job.wantsOutputs) _nextOutputs = now + kBetweenOutputs;
  _maker.ask(std::move(job));
  _isOutdated = false;
}

bool Viewer::isFilter() const {
  const auto& composition = _player.composition();
  return composition && composition->conformsToVuoProtocol(ZQVuoProtocol_ImageFilter);
}

void Viewer::draw() {
  _window.beginFrame();
  if (_picture)
    drawPicture(*ImGui::GetBackgroundDrawList(), *_picture, ImGui::GetMainViewport()->Size,
                16 * _window.scale());
  if (_output && _output->hasMouse()) ImGui::SetMouseCursor(ImGuiMouseCursor_None);
  _state.news = Clock::now() < _noticeEnds ? _notice : _problem;
  if (_showsPanel) _panel.draw(_window.scale());
  _chooser.draw(_window.scale());
  _window.endFrame();
}

void Viewer::warn(const std::vector<std::string>& warnings) {
  if (warnings.empty()) return;
  const std::size_t more = warnings.size() - 1;
  notice(warnings.front() +
         (more > 0 ? "\n… and " + std::to_string(more) + " more on standard error" : ""));
}

void Viewer::notice(const std::string& text) {
  _notice = text;
  _noticeEnds = Clock::now() + kNoticeTime;
}
