#pragma once

#include <algorithm>
#include <vector>

#include "platform/hostbase/MutLock.h"

/// An array with its own read-write lock. Operations that begin with "lock" take it themselves;
/// the others are for use between `rdlock` or `wrlock` and `unlock`.
template <class Item>
class MutLockArray : public platform::MutLock {
 public:
  std::vector<Item>& array() { return _items; }
  const std::vector<Item>& array() const { return _items; }

  bool containsObject(const Item& item) const {
    return std::find(_items.begin(), _items.end(), item) != _items.end();
  }

  bool lockContainsObject(const Item& item) const {
    platform::ReadHold hold(*this);
    return containsObject(item);
  }

  void lockRemoveAllObjects() {
    std::vector<Item> dropped;  // destroyed after the lock is released
    platform::WriteHold hold(*this);
    dropped.swap(_items);
  }

 private:
  std::vector<Item> _items;
};
