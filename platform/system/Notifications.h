// Process-wide notifications. The host posts them; whoever observes them is called.
#pragma once

#include <functional>
#include <memory>
#include <string_view>

namespace platform {

/// Posted by the host when the application is about to end.
inline constexpr std::string_view NSApplicationWillTerminateNotification =
    "NSApplicationWillTerminateNotification";

/// Keeps one subscription alive. Destroying it unsubscribes; a call of the observer that is under
/// way on another thread may still finish.
using Observation = std::shared_ptr<void>;

/// Calls `observer` on the posting thread at every later post of `name`.
[[nodiscard]] Observation observeNotification(std::string_view name,
                                              std::function<void()> observer);

/// Calls every observer of `name`, in the order of subscription, and returns when all have
/// returned. No lock is held meanwhile, so observers may subscribe and unsubscribe.
void postNotification(std::string_view name);

}  // namespace platform
