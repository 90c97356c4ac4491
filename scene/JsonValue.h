#pragma once

#include <cstddef>
#include <utility>

#include "scene/Guarded.h"
#include "scene/JsonRelease.h"

/// Owns one reference to a runtime value, or none. Its destructor raises what giving it up raises.
class [[nodiscard]] JsonValue {
 public:
  JsonValue(std::nullptr_t = nullptr) {}
  explicit JsonValue(json_object* value) : _value(value) {}
  JsonValue(JsonValue&& other) noexcept : _value(std::exchange(other._value, nullptr)) {}
  ~JsonValue() noexcept(false) {
    if (_value) giveUp(_raisedBefore, [this] { releaseJson(_value); });
  }
  JsonValue& operator=(JsonValue other) noexcept {
    std::swap(_value, other._value);
    return *this;
  }

  json_object* get() const { return _value; }
  explicit operator bool() const { return _value != nullptr; }

 private:
  json_object* _value = nullptr;
  const int _raisedBefore = std::uncaught_exceptions();
};
