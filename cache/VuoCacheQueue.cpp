// Queued fetches: one compile at a time on the serial queue, answers on the main queue.
#include <algorithm>
#include <chrono>

#include "cache/VuoCacheQueueEntry.h"
#include "cache/VuoCacheState.h"
#include "platform/system/Dispatch.h"
#include "platform/system/FileSystem.h"
#include "platform/system/SystemLog.h"
#include "platform/system/WithMemory.h"
#include "scene/Guarded.h"

using platform::systemLog;

namespace {

constexpr std::chrono::nanoseconds kDelay{10'000};

void deliver(const VuoCache::Completion& completion, VuoCache::Item result) {
  if (!completion) return;
  platform::MainQueue::shared().after(
      kDelay, [completion, result = std::move(result)] { completion(result); });
}

}  // namespace

void VuoCache::State::_fetch(const Kind& kind, const Path& path, Completion callBlockWhenDone) {
  bool isTaken = false;
  guarded(kind.fetchName, [&] {
    if (path && platform::itemExists(*path)) {
      isTaken =
          _deliverFresh(kind, *path, callBlockWhenDone) || _enqueue(kind, path, callBlockWhenDone);
    } else if (path) {
      systemLog("\t\terr: nil path or no file, %s.  %@", {kind.fetchName, *path});
    }
  });
  if (!isTaken) guarded(kind.fetchName, [&] { deliver(callBlockWhenDone, nullptr); });
}

/// A request that needs no compile does not wait for those of other compositions. Requests for one
/// composition stay in their order.
bool VuoCache::State::_deliverFresh(const Kind& kind, const std::string& path,
                                    const Completion& completion) {
  const auto& queue = _compilerQueueEntries;
  platform::ReadHold hold(queue);
  const auto& entries = queue.array();
  if (entries.empty() ||
      std::ranges::any_of(entries, [&](const auto& entry) { return entry->path == path; }))
    return false;
  Item record = _freshCopyOfRecord(kind, path);
  if (!record) return false;
  deliver(completion, std::move(record));
  return true;
}

bool VuoCache::State::_enqueue(const Kind& kind, const Path& path, const Completion& completion) {
  const auto entry = VuoCacheQueueEntry::createWithPath(*path, completion);
  if (!entry) {
    systemLog("\t\terr: couldn't make entry in %s", {kind.fetchName});
    return false;
  }
  entry->createDylib = kind.isDylib;
  entry->createExecutable = !kind.isDylib;
  entry->terminations = _terminations;

  platform::WriteHold hold(_compilerQueueEntries);
  auto& entries = _compilerQueueEntries.array();
  entries.push_back(entry);
  if (entries.size() == 1) try {
      _scheduleQueueRun();
    } catch (...) {
      entries.pop_back();
      throw;
    }
  return true;
}

/// The pending run keeps this cache alive, also when the global cache has been replaced meanwhile.
void VuoCache::State::_scheduleQueueRun() {
  _compilerQueue->after(kDelay,
                        [state = shared_from_this()] { state->_compileAndCacheFromTheQueue(); });
}

void VuoCache::State::_compileAndCacheFromTheQueue() {
  const auto entry = _takeFirstEntry();
  if (!entry) return;
  Item result;
  try {
    result = _resultFor(*entry);
  } catch (...) {
    // Whatever went wrong, the requests behind this one are still to be served.
  }
  _finishEntry(entry, std::move(result));
}

VuoCache::Item VuoCache::State::_resultFor(const VuoCacheQueueEntry& entry) {
  if (!entry.createDylib && !entry.createExecutable) return nullptr;
  const Kind& kind = entry.createDylib ? kDylib : kExe;
  const bool isGivenUp = entry.terminations != _terminations;
  return isGivenUp ? _freshCopyOfRecord(kind, entry.path) : _fetchSynchronously(kind, entry.path);
}

std::shared_ptr<VuoCacheQueueEntry> VuoCache::State::_takeFirstEntry() {
  std::size_t count = 0;
  {
    platform::WriteHold hold(_compilerQueueEntries);
    const auto& entries = _compilerQueueEntries.array();
    count = entries.size();
    if (count != 0 && entries.front() && !entries.front()->inProgress) {
      entries.front()->inProgress = true;
      return entries.front();
    }
  }
  if (count != 0) {
    systemLog("\t\terr %s, bailing but queueCount is %lu",
              {"-[VuoCache _compileAndCacheFromTheQueue]", static_cast<unsigned long>(count)});
  }
  return nullptr;
}

/// The answer is on its way before another request for the same composition can overtake it.
void VuoCache::State::_finishEntry(const std::shared_ptr<VuoCacheQueueEntry>& entry, Item result) {
  platform::WriteHold hold(_compilerQueueEntries);
  auto& entries = _compilerQueueEntries.array();
  std::erase(entries, entry);
  platform::withMemory([&] {
    if (!entries.empty()) _scheduleQueueRun();
  });
  platform::withMemory([&] { deliver(entry->completionBlock, result); });
}
