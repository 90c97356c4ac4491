// Persistent settings of the host application, one property list per application in the user's
// configuration folder (XDG), named after the application's executable and the path of its bundle.
#pragma once

#include <optional>
#include <string>

namespace platform {

/// None when nothing is stored under `key`.
std::optional<std::string> userDefault(const std::string& key);

/// Stores `value` under `key`, or removes the key when it is absent; whatever else the file holds
/// stays. Written through at once, also beside other processes; a failed write is not reported.
void setUserDefault(const std::optional<std::string>& value, const std::string& key);

}  // namespace platform
