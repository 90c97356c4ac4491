#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <utility>

#include "runtime/RuntimeExport.h"

namespace vuo {

/// The bytes of pictures that one composition has in this process. Any thread.
class BRANNOW_RUNTIME PictureBudget {
 public:
  /// Some of them, given back with the object.
  class Share {
   public:
    Share() = default;
    Share(Share&& other) noexcept
        : _budget(std::move(other._budget)), _bytes(std::exchange(other._bytes, 0)) {}
    ~Share() {
      if (_budget) _budget->_taken -= _bytes;
    }
    Share& operator=(Share other) noexcept {
      std::swap(_budget, other._budget);
      std::swap(_bytes, other._bytes);
      return *this;
    }

   private:
    friend PictureBudget;
    Share(std::shared_ptr<PictureBudget> budget, std::size_t bytes)
        : _budget(std::move(budget)), _bytes(bytes) {}
    std::shared_ptr<PictureBudget> _budget;
    std::size_t _bytes = 0;
  };

  explicit PictureBudget(std::size_t most) : _most(most) {}
  /// A new one of `picturesOfAScene`. Its last pictures may outlive the module that draws them, so
  /// it is made here.
  static std::shared_ptr<PictureBudget> ofAScene();

  bool hasRoomFor(std::size_t bytes) const { return bytes <= _most - _taken; }
  /// Throws std::runtime_error when there is not so much left.
  static Share reserve(const std::shared_ptr<PictureBudget>& budget, std::size_t bytes);

 private:
  const std::size_t _most;
  std::atomic<std::size_t> _taken = 0;
};

}  // namespace vuo
