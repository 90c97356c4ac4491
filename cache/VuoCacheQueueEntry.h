#pragma once

#include <memory>
#include <string>

#include "Brannow/VuoCache.h"

/// One pending queued request. Identified by identity, not by its path. The cache touches an entry
/// only under its list's write lock until a queue run has taken it, and afterwards only in that
/// run.
class VuoCacheQueueEntry {
 public:
  static std::shared_ptr<VuoCacheQueueEntry> createWithPath(std::string path,
                                                            VuoCache::Completion completionBlock) {
    auto entry = std::make_shared<VuoCacheQueueEntry>();
    entry->path = std::move(path);
    entry->completionBlock = std::move(completionBlock);
    return entry;
  }

  bool createDylib = false;
  bool createExecutable = false;
  bool inProgress = false;  ///< set when a queue run has taken the entry; never cleared
  int terminations = 0;     ///< how many notifications of the application's end had come by then
  std::string path;
  VuoCache::Completion completionBlock;
};
