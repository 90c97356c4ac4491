#include "host/view/PictureSaver.h"

#include <utility>

#include "host/Picture.h"
#include "host/view/FreeName.h"

namespace {

constexpr std::size_t kMostWaiting = 8;

}  // namespace

PictureSaver::PictureSaver(ZQBufferPool& pool) : _pool(pool), _thread([this] { work(); }) {}

PictureSaver::~PictureSaver() {
  finish();
}

bool PictureSaver::save(ZQBufferRef picture, const std::string& compositionFile) {
  {
    platform::LockGuard hold(_lock);
    if (_jobs.size() >= kMostWaiting) return false;
    _jobs.push_back({std::move(picture), compositionFile});
  }
  _changed.notify_one();
  return true;
}

std::vector<PictureSaver::Result> PictureSaver::popResults() {
  platform::LockGuard hold(_lock);
  return std::exchange(_results, {});
}

std::vector<PictureSaver::Result> PictureSaver::finish() {
  {
    platform::LockGuard hold(_lock);
    _ends = true;
  }
  _changed.notify_one();
  if (_thread.joinable()) _thread.join();
  return popResults();
}

void PictureSaver::work() {
  platform::UniqueLock hold(_lock);
  for (;;) {
    while (!_ends && _jobs.empty()) _changed.wait(hold);
    if (_jobs.empty()) return;
    Job job = std::move(_jobs.front());
    _jobs.pop_front();
    hold.unlock();
    Result result = saved(job);
    job = {};
    hold.lock();
    _results.push_back(std::move(result));
  }
}

/// One after the other, so that the name is still free when its file is written.
PictureSaver::Result PictureSaver::saved(const Job& job) {
  const ZQPixels pixels = _pool.readPixels(*job.picture);
  Result result{freeName(job.compositionFile, ".png"), {}};
  host::writePicture(pixels, result.file, result.problem);
  return result;
}
