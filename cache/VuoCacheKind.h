// What differs between dynamic libraries and executables in the cache.
#pragma once

#include "Brannow/VuoCache.h"

struct VuoCache::Kind {
  MutLockDict<VuoCacheItem> VuoCache::*table;
  /// The record file inside the cache folder.
  const char* recordFile;
  bool isDylib;

  // The operations as log lines name them.
  const char* isAvailableName;
  const char* fetchName;
};
