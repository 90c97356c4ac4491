#pragma once

#include <cstddef>
#include <functional>

#include "Brannow/Alert.h"
#include "host/view/ViewWindow.h"

/// Shows the alert over what `drawBackground` draws and returns the index of the button that the
/// user pressed. Serves the window until then; the first button answers when the window is closed.
std::size_t runAlertDialog(ViewWindow& window, const brannow::Alert& alert,
                           const std::function<void()>& drawBackground);
