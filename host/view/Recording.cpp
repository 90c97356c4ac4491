#include "host/view/Recording.h"

#include <utility>

#include "host/Failure.h"
#include "host/Yuv.h"

namespace {

/// Pictures that wait keep their textures from being drawn in again.
constexpr std::size_t kMostWaiting = 6;

/// Who falls further behind does not catch up.
constexpr std::chrono::seconds kMostBehind{10};

}  // namespace

Recording::Recording(ZQBufferPool& pool, Y4mFile file, FrameRate rate, ZQBufferRef picture,
                     Clock::time_point now)
    : _pool(pool),
      _file(std::move(file)),
      _path(_file.path()),
      _rate(rate),
      _size(picture->size()),
      _begin(now),
      _shown(std::move(picture)) {
  addFramesUntil(now);
  _thread = std::thread([this] { work(); });
}

Recording::~Recording() {
  finish();
}

void Recording::show(ZQBufferRef picture, Clock::time_point now) {
  if (_isStopped) return;
  addFramesUntil(now);
  _shown = std::move(picture);
}

void Recording::stop(Clock::time_point now) {
  if (_isStopped) return;
  addFramesUntil(now);
  finishSoon();
}

void Recording::finish() {
  finishSoon();
  if (_thread.joinable()) _thread.join();
}

void Recording::finishSoon() {
  _isStopped = true;
  _shown = {};
  {
    platform::LockGuard hold(_lock);
    _ends = true;
  }
  _changed.notify_one();
}

double Recording::seconds() const {
  return static_cast<double>(_frames * _rate.seconds) / static_cast<double>(_rate.frames);
}

std::int64_t Recording::lost() const {
  platform::LockGuard hold(_lock);
  return _lost;
}

std::string Recording::problem() const {
  platform::LockGuard hold(_lock);
  return _problem;
}

/// The frames whose times have come are of what has been shown until now.
void Recording::addFramesUntil(Clock::time_point now) {
  const double since = std::chrono::duration<double>(now - _begin).count();
  const double perSecond = static_cast<double>(_rate.frames) / static_cast<double>(_rate.seconds);
  const std::int64_t due = static_cast<std::int64_t>(since * perSecond) + 1 - _frames;
  if (due < 1) return;
  _frames += due;
  add(due, now);
}

void Recording::add(std::int64_t frames, Clock::time_point now) {
  {
    platform::LockGuard hold(_lock);
    if (_ends) return;
    if (!_jobs.empty() && now - _jobs.front().since > kMostBehind)
      return giveUp(_path + ": the disk is too slow for so many frames of this size");
    const bool isSame = !_jobs.empty() && _jobs.back().picture == _shown;
    if (!isSame && _jobs.size() < kMostWaiting) {
      _jobs.push_back({_shown, frames, now});
    } else {
      _jobs.back().frames += frames;
      if (!isSame) _lost += frames;
    }
  }
  _changed.notify_one();
}

void Recording::giveUp(const std::string& problem) {
  if (_problem.empty()) _problem = problem;
  _jobs.clear();
  _ends = true;
}

void Recording::work() {
  try {
    write();
  } catch (const Failure& failure) {
    platform::LockGuard hold(_lock);
    giveUp(failure.message);
  }
  _isDone = true;
}

void Recording::write() {
  YuvFromPicture made(static_cast<std::size_t>(_size.width),
                      static_cast<std::size_t>(_size.height));
  _file.begin(static_cast<std::size_t>(_size.width), static_cast<std::size_t>(_size.height), _rate);
  ZQPixels pixels;
  const std::vector<std::uint8_t>* planes = nullptr;
  ZQBufferRef last;
  for (Job job; pop(job); last = std::move(job.picture)) {
    if (job.picture != last) {
      _pool.readPixels(*job.picture, pixels);
      if (pixels.rgba.empty()) throw Failure{_path + ": the picture can't be read from the GPU"};
      planes = &made.planesOf(pixels);
      if (made.hadAlpha()) _hadAlpha = true;
    }
    for (; job.frames > 0; --job.frames, ++_written) _file.add(*planes);
  }
}

/// False when nothing is to come.
bool Recording::pop(Job& job) {
  platform::UniqueLock hold(_lock);
  while (!_ends && _jobs.empty()) _changed.wait(hold);
  if (_jobs.empty()) return false;
  job = std::move(_jobs.front());
  _jobs.pop_front();
  return true;
}
