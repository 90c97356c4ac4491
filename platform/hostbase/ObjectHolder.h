#pragma once

#include <memory>

/// A zeroing weak reference: reading it yields the object while it exists and null afterwards.
/// Copies refer to the same object. Reading from any number of threads at once is safe.
template <class Object>
class ObjectHolder {
 public:
  static std::shared_ptr<ObjectHolder> initWithZWRObject(const std::shared_ptr<Object>& object) {
    return std::make_shared<ObjectHolder>(object);
  }

  explicit ObjectHolder(const std::shared_ptr<Object>& object) : _object(object) {}

  std::shared_ptr<Object> object() const { return _object.lock(); }

 private:
  std::weak_ptr<Object> _object;
};
