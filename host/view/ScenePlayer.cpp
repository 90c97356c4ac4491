#include "host/view/ScenePlayer.h"

#include <algorithm>

#include "Brannow/VuoCache.h"
#include "host/HostSession.h"

using Clock = std::chrono::steady_clock;

namespace {

/// Nobody waits for the first picture of what takes the place of a composition that owes one for
/// longer.
constexpr std::chrono::seconds kStuck{1};

/// What a composition draws before its first request nobody sees, so that is as little as can be.
std::shared_ptr<VuoGLScene> newScene() {
  return VuoGLScene::initWithSize(1, 1);
}

}  // namespace

ScenePlayer::ScenePlayer(bool newProcess) : _scene(newScene()), _newProcess(newProcess) {}

ScenePlayer::~ScenePlayer() {
  end();
}

void ScenePlayer::end() {
  dropNext();
  _scene->prepareToBeDeleted();
}

void ScenePlayer::open(const std::string& file) {
  _file = pathForCache(file);
  _watch.follow({_file});
  load();
}

void ScenePlayer::reload() {
  if (!_file.empty()) load();
}

void ScenePlayer::setNewProcess(bool newProcess) {
  if (newProcess == _newProcess) return;
  _newProcess = newProcess;
  reload();
}

void ScenePlayer::poll() {
  if (_watch.changed(Clock::now())) _isOutdated = true;
  if (_next) pollNext();
  if (!_next && _isOutdated) reload();  // one load after the other, however often a file is saved
  if (!_pictures) return;
  const VuoSceneStatus status = _scene->status();
  if (status.state != VuoSceneStatus::State::Running) lost(status.message);
}

void ScenePlayer::lost(const std::string& how) {
  _pictures.reset();
  if (_state == State::Loading) return;
  _state = State::LostContact;
  _problem = how;
}

void ScenePlayer::load() {
  dropNext();
  _isOutdated = false;
  _state = State::Loading;
  _loadStart = Clock::now();
  _next = newScene();
  _next->setRunnerNewProcess(_newProcess);
  _next->useFile(_file, true);
}

void ScenePlayer::pollNext() {
  const VuoSceneStatus status = _next->status();
  if (const auto files = _next->sourceFiles(); !files.empty()) _watch.follow(files);
  switch (status.state) {
    case VuoSceneStatus::State::Loading:
      return;
    case VuoSceneStatus::State::Running:
      return prepareFirstPicture();
    default:
      return fail(status.message);
  }
}

void ScenePlayer::prepareFirstPicture() {
  if (!_nextPictures) _nextPictures = std::make_shared<PictureStream>(_next);
  if (!_pictures) return show({});
  const auto first = _nextPictures->next(_firstRequest(), std::chrono::nanoseconds(0)).frame;
  if (first.answer == VuoFrame::Answer::Late && !isStuck()) return;
  if (first.reason == VuoFrame::Reason::NodeFailed) return fail(first.message);
  show(first.answer == VuoFrame::Answer::Late ? ZQBufferRef() : first.buffer);
}

bool ScenePlayer::isStuck() const {
  const auto since = _scene->oldestRequestSince();
  return since && Clock::now() - *since > kStuck;
}

void ScenePlayer::show(const ZQBufferRef& firstPicture) {
  _scene->prepareToBeDeleted();
  _scene = std::move(_next);
  _pictures = std::move(_nextPictures);
  _composition = _scene->comp();
  _state = State::Running;
  _problem.clear();
  const auto compile = VuoCache::lastCompileForVuoFile(_file);
  _howMade = "from the cache";
  if (compile && compile->began >= _loadStart) {
    const auto took = std::chrono::round<std::chrono::milliseconds>(compile->took);
    _howMade = "compiled in " + std::to_string(took.count()) + " ms";
  }
  if (_whenStarted) _whenStarted(firstPicture);
}

void ScenePlayer::fail(const std::string& problem) {
  dropNext();
  _state = State::Failed;
  _problem = problem;
}

void ScenePlayer::dropNext() {
  if (_next) _next->prepareToBeDeleted();
  _next.reset();
  _nextPictures.reset();
}

std::string ScenePlayer::stateText() const {
  switch (_state) {
    case State::Empty:
      return "nothing loaded";
    case State::Loading:
      return "loading…";
    case State::Running:
      return _howMade;
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
