#include "platform/system/Notifications.h"

#include <algorithm>
#include <string>
#include <vector>

#include "platform/system/Mutex.h"

namespace platform {
namespace {

struct Observer {
  std::string name;
  std::function<void()> call;
};

struct Center {
  Mutex lock;  // never held while an observer runs
  std::vector<std::weak_ptr<Observer>> observers GUARDED_BY(lock);
};

Center& theCenter() {
  static Center& center = *new Center;
  return center;
}

std::vector<std::shared_ptr<Observer>> observersOf(std::string_view name) {
  std::vector<std::shared_ptr<Observer>> found;
  LockGuard hold(theCenter().lock);
  for (const auto& weak : theCenter().observers) {
    if (auto observer = weak.lock(); observer && observer->name == name) found.push_back(observer);
  }
  return found;
}

}  // namespace

Observation observeNotification(std::string_view name, std::function<void()> observer) {
  const auto observation =
      std::make_shared<Observer>(Observer{std::string(name), std::move(observer)});
  LockGuard hold(theCenter().lock);
  auto& observers = theCenter().observers;
  std::erase_if(observers, [](const auto& weak) { return weak.expired(); });
  observers.push_back(observation);
  return observation;
}

}  // namespace platform

void brannow::postNotification(std::string_view name) {
  for (const auto& observer : platform::observersOf(name)) observer->call();
}
