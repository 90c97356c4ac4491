// Process-wide notifications. The host posts them; whoever observes them is called.
#pragma once

#include <functional>
#include <memory>
#include <string_view>

#include "Brannow/Notifications.h"

namespace platform {

using brannow::NSApplicationWillTerminateNotification;
/// Calls the observers in the order of subscription. No lock is held meanwhile, so they may
/// subscribe and unsubscribe.
using brannow::postNotification;

/// Keeps one subscription alive. Destroying it unsubscribes; a call of the observer that is under
/// way on another thread may still finish.
using Observation = std::shared_ptr<void>;

/// Calls `observer` on the posting thread at every later post of `name`.
[[nodiscard]] Observation observeNotification(std::string_view name,
                                              std::function<void()> observer);

}  // namespace platform
