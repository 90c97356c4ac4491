// The system log: syslog, unless a sink has been installed.
#pragma once

#include <initializer_list>
#include <new>
#include <string>
#include <string_view>

#include "Brannow/Log.h"

namespace platform {

/// One placeholder's value in a log line. An absent text prints as "(null)"; one that there is no
/// memory for, as nothing.
class LogArgument {
 public:
  template <class Text>
  requires std::is_convertible_v<Text, std::string_view> LogArgument(const Text& text)
      : _text(made([&] { return std::string(std::string_view(text)); })) {}
  template <class Optional>
  requires requires(const Optional& o) { o.has_value(); }
  LogArgument(const Optional& text)
      : _text(made([&] { return text ? std::string(*text) : "(null)"; })) {}
  LogArgument(unsigned long number) : _text(made([&] { return std::to_string(number); })) {}
  LogArgument(int number) : _text(made([&] { return std::to_string(number); })) {}
  const std::string& text() const { return _text; }

 private:
  template <class Make>
  static std::string made(Make make) noexcept try {
    return make();
  } catch (const std::bad_alloc&) {
    return {};
  }
  std::string _text;
};

/// Writes one line. Each "%s", "%@", "%d" and "%lu" of `format` takes the next argument.
/// Any thread; blocks only as long as the sink does. Without memory for it, the line is not
/// written.
void systemLog(std::string_view format, std::initializer_list<LogArgument> arguments = {});

using brannow::LogSink;
using brannow::setLogSink;

}  // namespace platform
