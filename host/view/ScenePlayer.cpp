#include "host/view/ScenePlayer.h"

#include <algorithm>

#include "host/HostSession.h"

using Clock = std::chrono::steady_clock;

ScenePlayer::ScenePlayer(ZQSize size, bool newProcess)
    : _scene(VuoGLScene::initWithSize(std::max(1.0, size.width), std::max(1.0, size.height))),
      _newProcess(newProcess) {
  _scene->setStatusHandler([this](const VuoSceneStatus&) { noticeStatus(); });
}

ScenePlayer::~ScenePlayer() {
  _scene->prepareToBeDeleted();
}

void ScenePlayer::open(const std::string& file) {
  _file = pathForCache(file);
  _watch.emplace(_file);
  compile();
}

void ScenePlayer::reload() {
  if (!_file.empty()) open(_file);
}

void ScenePlayer::setNewProcess(bool newProcess) {
  if (newProcess == _newProcess) return;
  _newProcess = newProcess;
  reload();
}

void ScenePlayer::poll() {
  if (_watch && _watch->changed(Clock::now())) reload();
}

/// What the scene says now: while a change was on its way, something else may have been started.
void ScenePlayer::noticeStatus() {
  const auto status = _scene->status();
  if (status.state == VuoSceneStatus::State::Lost && _pictures) {
    lost(status.message);
  } else if (status.state == VuoSceneStatus::State::Running && _isStarting) {
    _isStarting = false;
    started();
  } else if (status.state == VuoSceneStatus::State::Failed && _isStarting) {
    _isStarting = false;
    notStarted(status.message);
  }
}

void ScenePlayer::lost(const std::string& how) {
  _pictures.reset();
  if (_state == State::Compiling) return;
  _state = State::LostContact;
  _problem = how;
}

void ScenePlayer::compile() {
  _state = State::Compiling;
  _problem.clear();
  _fromCache = _newProcess ? VuoCache::isCachedExeAvailableForVuoFile(_file)
                           : VuoCache::isCachedDylibAvailableForVuoFile(_file);
  _compileStart = Clock::now();
  _awaited = std::make_shared<int>();
  auto whenDone = [this, awaited = std::weak_ptr(_awaited)](const VuoCache::Item& item) {
    if (awaited.lock()) compiled(item);
  };
  _newProcess ? VuoCache::fetchCachedExeForVuoFile(_file, whenDone)
              : VuoCache::fetchCachedDylibForVuoFile(_file, whenDone);
}

void ScenePlayer::compiled(const VuoCache::Item& item) {
  _awaited.reset();
  _compileTime = std::chrono::round<std::chrono::milliseconds>(Clock::now() - _compileStart);
  if (item) {
    start();
  } else {
    fail(VuoCache::compileFailureForVuoFile(_file).value_or(_file + " can't be read"));
  }
}

/// Loads on this thread: the artefact is in the cache by now. The scene's status tells the rest.
void ScenePlayer::start() {
  _pictures.reset();
  _scene->setRunnerNewProcess(_newProcess);
  _isStarting = true;
  _scene->useFile(_file, false);
  noticeStatus();
}

/// Another compile may have begun meanwhile.
void ScenePlayer::started() {
  if (!_awaited) _state = State::Running;
  _composition = _scene->comp();
  _pictures = std::make_shared<PictureStream>(_scene);
  if (_whenStarted) _whenStarted();
}

void ScenePlayer::notStarted(const std::string& why) {
  _scene->useFile(std::nullopt);
  if (_awaited) return;
  fail(why);
  if (_whenNotStarted) _whenNotStarted(why);
}

void ScenePlayer::fail(const std::string& problem) {
  _state = State::Failed;
  _problem = problem;
}

std::string ScenePlayer::stateText() const {
  switch (_state) {
    case State::Empty:
      return "nothing loaded";
    case State::Compiling:
      return _fromCache ? "starting…" : "compiling…";
    case State::Running:
      return _fromCache ? "from the cache"
                        : "compiled in " + std::to_string(_compileTime.count()) + " ms";
    case State::Failed:
      return _pictures ? "failed; the previous version runs" : "failed";
    case State::LostContact:
      return "lost contact";
  }
  return "";
}

std::string firstProblem(const ZQVuoComposition& composition, const std::string& otherwise) {
  const std::string& file = composition.path();
  if (composition.problems().empty()) return file + " " + otherwise;
  const auto& problem = composition.problems().front();
  return file + ":" + (problem.line > 0 ? std::to_string(problem.line) + ":" : "") + " " +
         problem.text;
}
