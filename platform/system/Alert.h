// Modal alerts, shown through a presenter that the host can install.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace platform {

enum class AlertStyle { Warning = 0 };

struct Alert {
  std::string messageText;      ///< the main text
  std::string informativeText;  ///< the explanation below it
  AlertStyle style = AlertStyle::Warning;
  std::vector<std::string> buttons;  ///< titles, the default button first
};

/// Responses count up from the first button's.
inline constexpr int AlertFirstButtonReturn = 1000;

/// Shows the alert and returns the index of the pressed button.
using AlertPresenter = std::function<std::size_t(const Alert&)>;

/// Replaces the presenter; an empty one restores the default, which writes the alert to standard
/// error and answers with the first button.
void setAlertPresenter(AlertPresenter presenter);

/// Shows the alert on the calling thread, blocks until it is answered and returns
/// `AlertFirstButtonReturn` plus the index of the pressed button.
int runAlertModally(const Alert& alert);

}  // namespace platform
