#pragma once

#include <algorithm>
#include <vector>

#include "platform/hostbase/MutLock.h"

/// An array with its own read-write lock. Operations that begin with "lock" take it themselves;
/// the others are for use between `rdlock` or `wrlock` and `unlock`, as clang sees to.
template <class Item>
class MutLockArray : public platform::MutLock {
 public:
  std::vector<Item>& array() REQUIRES(this) { return _items; }
  const std::vector<Item>& array() const REQUIRES_SHARED(this) { return _items; }

  bool containsObject(const Item& item) const REQUIRES_SHARED(this) {
    return std::find(_items.begin(), _items.end(), item) != _items.end();
  }

  bool lockContainsObject(const Item& item) const EXCLUDES(this) {
    platform::ReadHold hold(*this);
    return containsObject(item);
  }

  void lockRemoveAllObjects() EXCLUDES(this) {
    std::vector<Item> dropped;  // destroyed after the lock is released
    platform::WriteHold hold(*this);
    dropped.swap(_items);
  }

 private:
  std::vector<Item> _items GUARDED_BY(this);
};
