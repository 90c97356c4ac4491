#pragma once

#include <memory>
#include <string>
#include <unordered_map>

#include "platform/hostbase/MutLock.h"

/// A dictionary from strings to shared objects with its own read-write lock. Operations that begin
/// with "lock" take it themselves; the others are for use between `rdlock` or `wrlock` and
/// `unlock`, as clang sees to.
template <class Object>
class MutLockDict : public platform::MutLock {
 public:
  using Dictionary = std::unordered_map<std::string, std::shared_ptr<Object>>;

  const Dictionary& dict() const REQUIRES_SHARED(this) { return _objects; }

  /// Null when nothing is stored under `key`.
  std::shared_ptr<Object> objectForKey(const std::string& key) const REQUIRES_SHARED(this) {
    auto found = _objects.find(key);
    return found == _objects.end() ? nullptr : found->second;
  }

  void lockSetObject(std::shared_ptr<Object> object, const std::string& forKey) EXCLUDES(this) {
    platform::WriteHold hold(*this);
    _objects.insert_or_assign(forKey, std::move(object));
  }

  void lockRemoveAllObjects() EXCLUDES(this) {
    Dictionary dropped;  // destroyed after the lock is released
    platform::WriteHold hold(*this);
    dropped.swap(_objects);
  }

 private:
  Dictionary _objects GUARDED_BY(this);
};
