// Standard output, whose failures are told by their reasons: a full disk is no reader that has
// gone.
#pragma once

/// Thrown when whoever reads standard output has gone; a command then ends without a word.
struct ReaderGone {};

/// Stands behind std::cout for as long as it exists; one for the program.
class StandardOutput {
 public:
  StandardOutput();
  ~StandardOutput();
  StandardOutput(const StandardOutput&) = delete;
  StandardOutput& operator=(const StandardOutput&) = delete;

  /// Writes what is left. The result is the program's exit status: `status`, or 1 when something
  /// could not be written, with a message unless a Failure has told it. A reader that has gone is
  /// no fault.
  int finish(int status);
};

/// Writes everything that std::cout holds. Throws Failure, or ReaderGone, when that or an earlier
/// write failed.
void flushStandardOutput();
