// The alerts that the user is shown, and who shows them.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "Brannow/BrannowExport.h"

namespace brannow {

enum class AlertStyle { Warning = 0 };

struct Alert {
  std::string messageText;      ///< the main text
  std::string informativeText;  ///< the explanation below it
  AlertStyle style = AlertStyle::Warning;
  std::vector<std::string> buttons;  ///< titles, the default button first
};

/// Shows the alert until the user has answered and returns the index of the pressed button. Called
/// on the main queue.
using AlertPresenter = std::function<std::size_t(const Alert&)>;

/// Replaces the presenter; an empty one restores the default, which writes the alert to standard
/// error and answers with the first button.
BRANNOW_API void setAlertPresenter(AlertPresenter presenter);

}  // namespace brannow
