#include "Brannow/ZQVuoAlertPanel.h"

#include <new>

#include "platform/system/Alert.h"

int ZQVuoRunAlertPanel(const std::optional<std::string>& title,
                       const std::optional<std::string>& message,
                       const std::optional<std::string>& firstButton,
                       const std::optional<std::string>& secondButton,
                       const std::optional<std::string>& thirdButton) try {
  platform::Alert alert;
  alert.messageText = title.value_or("");
  alert.informativeText = message.value_or("");
  alert.style = platform::AlertStyle::Warning;
  for (const auto* button : {&firstButton, &secondButton, &thirdButton}) {
    if (*button && !(*button)->empty()) alert.buttons.push_back(**button);
  }
  return platform::runAlertModally(alert);
} catch (const std::bad_alloc&) {
  return platform::AlertFirstButtonReturn;
}
