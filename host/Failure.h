#pragma once

#include <string>

/// Ends a command with a message.
struct Failure {
  std::string message;
};
