#include "platform/system/Alert.h"

#include <iostream>

#include "platform/system/Mutex.h"

namespace platform {
namespace {

struct Presenter {
  Mutex lock;  // held for one copy
  AlertPresenter present GUARDED_BY(lock);
};

Presenter& thePresenter() {
  static Presenter& presenter = *new Presenter;
  return presenter;
}

std::size_t writeToStandardError(const Alert& alert) {
  std::cerr << alert.messageText << "\n" << alert.informativeText << std::endl;
  return 0;
}

}  // namespace

int runAlertModally(const Alert& alert) {
  AlertPresenter present;
  {
    LockGuard hold(thePresenter().lock);
    present = thePresenter().present;
  }
  const std::size_t pressed = present ? present(alert) : writeToStandardError(alert);
  return AlertFirstButtonReturn + static_cast<int>(pressed);
}

}  // namespace platform

void brannow::setAlertPresenter(AlertPresenter presenter) {
  auto& the = platform::thePresenter();
  platform::LockGuard hold(the.lock);
  the.present = std::move(presenter);
}
