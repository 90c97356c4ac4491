#include "host/view/FrameMaker.h"

FrameMaker::FrameMaker() : _thread([this] { work(); }) {}

FrameMaker::~FrameMaker() {
  {
    std::lock_guard hold(_lock);
    _ends = true;
  }
  _changed.notify_one();
  _thread.join();
}

void FrameMaker::ask(Job job) {
  {
    std::lock_guard hold(_lock);
    job.wantsOutputs = job.wantsOutputs || (_job && _job->wantsOutputs);
    _job = std::move(job);
  }
  _changed.notify_one();
}

std::vector<FrameMaker::Frame> FrameMaker::take() {
  std::lock_guard hold(_lock);
  return std::exchange(_frames, {});
}

void FrameMaker::work() {
  std::unique_lock hold(_lock);
  for (;;) {
    _changed.wait(hold, [this] { return _ends || _job; });
    if (_ends) return;
    auto job = std::exchange(_job, std::nullopt);
    hold.unlock();
    auto frame = made(*job);
    job.reset();
    hold.lock();
    _frames.push_back(std::move(frame));
  }
}

FrameMaker::Frame FrameMaker::made(const Job& job) {
  Frame frame{job.pictures, nullptr, {}, std::nullopt};
  if (job.paused) {
    frame.picture = job.pictures->still();
  } else if (const auto input = job.input ? job.input() : nullptr; input || !job.input) {
    auto [picture, took] = job.pictures->next(input);
    if (picture) frame.took = took;
    frame.picture = std::move(picture);
  }
  if (job.wantsOutputs) frame.outputs = job.pictures->outputs();
  return frame;
}
