// What the host tells the whole framework.
#pragma once

#include <string_view>

#include "Brannow/BrannowExport.h"

namespace brannow {

/// Posted by the host when the application is about to end.
inline constexpr std::string_view NSApplicationWillTerminateNotification =
    "NSApplicationWillTerminateNotification";

/// Calls everything that waits for `name` and returns when all of it has been done. At the
/// application's end the scenes are unloaded and the cache's records are written; a compile that is
/// under way is waited for.
BRANNOW_API void postNotification(std::string_view name);

}  // namespace brannow
