// Modal alerts, shown through the presenter that the host has installed.
#pragma once

#include "Brannow/Alert.h"

namespace platform {

using brannow::Alert;
using brannow::AlertPresenter;
using brannow::AlertStyle;
using brannow::setAlertPresenter;

/// Responses count up from the first button's.
inline constexpr int AlertFirstButtonReturn = 1000;

/// Shows the alert on the calling thread, blocks until it is answered and returns
/// `AlertFirstButtonReturn` plus the index of the pressed button.
int runAlertModally(const Alert& alert);

}  // namespace platform
