#include "Brannow/GLScene.h"

#include <atomic>

GLScene::~GLScene() = default;

bool GLScene::deleted() const {
  return std::atomic_ref(_deleted).load(std::memory_order_acquire);
}

void GLScene::prepareToBeDeleted() {
  std::atomic_ref(_deleted).store(true, std::memory_order_release);
}
