#pragma once

#include <functional>
#include <type_traits>
#include <utility>

#include "platform/system/Mutex.h"
#include "platform/system/SpinLock.h"

namespace platform {

/// The members of a struct, each read and written as a whole from any threads at once. The lock is
/// held for the length of one copy; nothing is taken under it.
template <class Values>
class LockedValues {
 public:
  template <class Value>
  Value read(Value Values::*member) const {
    LockGuard hold(_lock);
    return std::invoke(member, _values);
  }
  template <class Value>
  void write(Value Values::*member, std::type_identity_t<Value> value) {
    LockGuard hold(_lock);
    std::swap(std::invoke(member, _values), value);  // the old one goes without the lock
  }

 private:
  mutable SpinLock _lock;
  Values _values GUARDED_BY(_lock);
};

}  // namespace platform
