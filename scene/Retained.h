#pragma once

#include "runtime/VuoHeap.h"
#include "scene/Guarded.h"

/// Holds one reference to a runtime value, an image or a text, for a scope; it may be null. Its
/// destructor raises what giving it up raises.
template <class Value>
class Retained {
 public:
  explicit Retained(Value value) : _value(value) {
    if (_value) VuoRetain(_value);
  }
  ~Retained() noexcept(false) {
    if (_value) giveUp(_raisedBefore, [this] { VuoRelease(_value); });
  }
  Retained(const Retained&) = delete;
  Retained& operator=(const Retained&) = delete;

  Value get() const { return _value; }

 private:
  const Value _value;
  const int _raisedBefore = std::uncaught_exceptions();
};
