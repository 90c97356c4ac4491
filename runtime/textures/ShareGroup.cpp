#include "runtime/textures/ShareGroup.h"

#include <stdexcept>

namespace vuo {
namespace {

using platform::GLContext;

/// Lives until the process is gone: images may be released while it ends.
struct CurrentGroup {
  platform::Mutex lock;  ///< taken before no other lock
  std::shared_ptr<ShareGroup> group GUARDED_BY(lock);
  platform::GLContextHandle root GUARDED_BY(lock);
};

CurrentGroup& theCurrentGroup() {
  static auto* const current = new CurrentGroup;
  return *current;
}

}  // namespace

std::shared_ptr<ShareGroup> ShareGroup::current() {
  CurrentGroup& current = theCurrentGroup();
  platform::LockGuard hold(current.lock);
  if (!current.group) {
    auto root = current.root ? GLContext::wrap(current.root) : GLContext::createRoot();
    if (!root) throw std::runtime_error("This machine offers no OpenGL 3.3");
    current.group = std::make_shared<ShareGroup>(std::move(root));
  }
  return current.group;
}

void ShareGroup::setRoot(platform::GLContextHandle root) {
  CurrentGroup& current = theCurrentGroup();
  platform::LockGuard hold(current.lock);
  if (root == current.root) return;
  current.root = root;
  current.group = nullptr;
}

std::shared_ptr<GLContext> ShareGroup::createContext() const {
  auto context = GLContext::createSharedWith(_root->handle());
  if (!context) throw std::runtime_error("No OpenGL context could be made beside the root context");
  return context;
}

void ShareGroup::prepareForWork() {
  platform::LockGuard hold(_lock);
  if (!_worker) _worker = createContext();
}

bool ShareGroup::withContext(const std::function<void()>& work) {
  platform::LockGuard hold(_lock);
  if (!_worker) _worker = GLContext::createSharedWith(_root->handle());
  if (!_worker) return false;
  const platform::GLCurrent current(*_worker);
  if (!current) return false;
  work();
  return true;
}

}  // namespace vuo
