#pragma once

#include <optional>
#include <string>

#include "Brannow/BrannowExport.h"

/// Shows a modal alert with `title` as its main text, `message` as the explanation and a button for
/// each title that is present and not empty, in this order. Runs on the calling thread, which
/// should be the main queue's, and blocks until the user answers. Returns the response of the
/// pressed button: 1000 for the first button shown, 1001 for the second, 1002 for the third; 1000
/// too when there is no memory to show it.
BRANNOW_API int ZQVuoRunAlertPanel(const std::optional<std::string>& title,
                                   const std::optional<std::string>& message,
                                   const std::optional<std::string>& firstButton,
                                   const std::optional<std::string>& secondButton,
                                   const std::optional<std::string>& thirdButton);
