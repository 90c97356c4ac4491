#include "runtime/textures/PictureBudget.h"

#include <stdexcept>
#include <string>

#include "runtime/Limits.h"

namespace vuo {

std::shared_ptr<PictureBudget> PictureBudget::ofAScene() {
  return std::make_shared<PictureBudget>(picturesOfAScene);
}

PictureBudget::Share PictureBudget::reserve(const std::shared_ptr<PictureBudget>& budget,
                                            std::size_t bytes) {
  std::size_t taken = budget->_taken;
  do {
    if (bytes > budget->_most - taken)
      throw std::runtime_error("The composition's pictures would take more than " +
                               std::to_string(budget->_most >> 20) + " MiB");
  } while (!budget->_taken.compare_exchange_weak(taken, taken + bytes));
  return {budget, bytes};
}

}  // namespace vuo
