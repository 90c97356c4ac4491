// Where the lines of the log go.
#pragma once

#include <functional>
#include <string>

#include "Brannow/BrannowExport.h"

namespace brannow {

using LogSink = std::function<void(const std::string& line)>;

/// Sends every later line to `sink` instead of syslog; an empty sink restores syslog. The sink is
/// called on the thread that logs, one line at a time, which may hold locks: it must neither log
/// nor call whoever logs, but hand the line on.
BRANNOW_API void setLogSink(LogSink sink);

}  // namespace brannow
