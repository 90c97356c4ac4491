#include "platform/system/SystemLog.h"

#include <syslog.h>

#include "platform/system/Mutex.h"

namespace platform {
namespace {

struct Log {
  // Held while the sink runs, so that lines come one at a time; whatever lock the sink takes comes
  // after it. A line may be logged under any lock but those.
  Mutex lock;
  LogSink sink GUARDED_BY(lock);
};

/// Never destroyed: lines may come from other threads until the process is gone.
Log& theLog() {
  static Log& log = *new Log;
  return log;
}

constexpr std::string_view kPlaceholders[] = {"%s", "%@", "%d", "%lu"};

std::string filledIn(std::string_view format, std::initializer_list<LogArgument> arguments) {
  std::string line;
  auto argument = arguments.begin();
  while (!format.empty()) {
    std::size_t length = 0;
    for (const auto placeholder : kPlaceholders) {
      if (format.starts_with(placeholder)) length = placeholder.size();
    }
    if (length != 0 && argument != arguments.end()) {
      line += (argument++)->text();
    } else {
      length = 1;
      line += format.front();
    }
    format.remove_prefix(length);
  }
  return line;
}

}  // namespace

void systemLog(std::string_view format, std::initializer_list<LogArgument> arguments) try {
  const std::string line = filledIn(format, arguments);
  Log& log = theLog();
  LockGuard hold(log.lock);
  if (log.sink) {
    log.sink(line);
  } else {
    syslog(LOG_USER | LOG_NOTICE, "%s", line.c_str());
  }
} catch (const std::bad_alloc&) {
  // What is told of goes on without it.
}

}  // namespace platform

void brannow::setLogSink(LogSink sink) {
  platform::Log& log = platform::theLog();
  platform::LockGuard hold(log.lock);
  log.sink = std::move(sink);
}
