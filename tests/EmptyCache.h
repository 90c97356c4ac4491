#pragma once

#include <string>

#include "Brannow/VuoCache.h"

/// Makes the process's global cache an empty one that saves to `path`.
inline void useEmptyCache(const std::string& path) {
  if (VuoCache::globalCache()) {
    VuoCache::clearCache();
    VuoCache::globalCache()->setSavePath(path);
  } else {
    VuoCache::configGlobalCacheWithSavePath(path);
  }
}
