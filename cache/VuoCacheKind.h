// What differs between dynamic libraries and executables in the cache.
#pragma once

#include <string_view>

#include "Brannow/VuoCache.h"

/// What every dynamic library is called.
constexpr const char* kLibraryName = "dylib.dylib";
/// Whether an executable may be called that.
bool isExecutableName(std::string_view name);

struct VuoCache::Kind {
  MutLockDict<VuoCacheItem> VuoCache::*table;
  /// The record file inside the cache folder.
  const char* recordFile;
  bool isDylib;

  // The operations as log lines name them.
  const char* isAvailableName;
  const char* fetchName;
};
