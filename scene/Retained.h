#pragma once

#include "platform/runtime/VuoHeap.h"

/// Holds one reference to a runtime value, an image or a text, for a scope; it may be null.
template <class Value>
class Retained {
 public:
  explicit Retained(Value value) : _value(value) {
    if (_value) VuoRetain(_value);
  }
  ~Retained() {
    if (_value) VuoRelease(_value);
  }
  Retained(const Retained&) = delete;
  Retained& operator=(const Retained&) = delete;

  Value get() const { return _value; }

 private:
  Value _value;
};
