#include "host/view/FrameMaker.h"

#include <utility>

namespace {

template <class Map>
void overlay(Map& map, Map newer) {
  newer.merge(map);  // keeps what is in `newer` already
  map = std::move(newer);
}

}  // namespace

FrameMaker::FrameMaker() : _thread([this] { work(); }) {}

FrameMaker::~FrameMaker() {
  {
    platform::LockGuard hold(_lock);
    _ends = true;
  }
  _changed.notify_one();
  _thread.join();
}

void FrameMaker::ask(Job job) {
  {
    platform::LockGuard hold(_lock);
    if (_setForWhom.lock() != job.pictures) {
      _set = {};
      _setForWhom = job.pictures;
    }
    overlay(_set.values, std::exchange(job.request.values, {}));
    overlay(_set.images, std::exchange(job.request.images, {}));
    job.wantsOutputs = job.wantsOutputs || (_job && _job->wantsOutputs);
    _job = std::move(job);
  }
  _changed.notify_one();
}

std::vector<FrameMaker::Frame> FrameMaker::popFrames() {
  platform::LockGuard hold(_lock);
  return std::exchange(_frames, {});
}

bool FrameMaker::isBusy() const {
  platform::LockGuard hold(_lock);
  return _job || _isMaking || !_frames.empty();
}

void FrameMaker::work() {
  platform::UniqueLock hold(_lock);
  for (;;) {
    while (!_ends && !_job) _changed.wait(hold);
    if (_ends) return;
    auto job = std::exchange(_job, std::nullopt);
    _isMaking = true;
    hold.unlock();
    auto frame = made(*job);
    job.reset();
    hold.lock();
    _isMaking = false;
    _frames.push_back(std::move(frame));
  }
}

FrameMaker::Frame FrameMaker::made(Job& job) {
  Frame frame;
  frame.pictures = job.pictures;
  if (job.input) {
    auto input = job.input(job.request.time.value_or(0));
    frame.isFinal = input.isLatest;
    frame.problem = std::move(input.problem);
    if (!input.picture) return frame;
    frame.input = input.picture;
    job.request.image = std::move(input.picture);
  }
  addWhatWasSet(job);
  frame.made = job.pictures->next(job.request, std::nullopt);
  const VuoFrame& answer = frame.made.frame;
  if (auto problem = frame.made.problem(); !problem.empty()) frame.problem = std::move(problem);
  if (job.wantsOutputs && answer.outputs) frame.outputs = job.pictures->outputs(answer);
  return frame;
}

void FrameMaker::addWhatWasSet(Job& job) {
  platform::LockGuard hold(_lock);
  if (_setForWhom.lock() != job.pictures) return;
  job.request.values = std::exchange(_set.values, {});
  job.request.images = std::exchange(_set.images, {});
}
