// Programs that are measured, or measured against.
#pragma once

#include <string>
#include <vector>

/// A program whose standard output is read here. Ends the measuring program when it can't start.
/// Nothing stands in its standard input unless something is written here.
class Process {
 public:
  /// `settings` are added to the environment, as NAME=VALUE. Standard error is dropped.
  explicit Process(const std::vector<std::string>& command,
                   const std::vector<std::string>& settings = {});
  /// Ends the program if it still runs.
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  /// Adds a byte to its standard input. The signal of a broken pipe ends the measuring program when
  /// it reads no more.
  void write(char byte);
  /// Reads that many bytes; false at the end of the output.
  bool read(void* bytes, std::size_t count);
  /// Waits for the program's end and returns its exit status.
  int wait();

 private:
  int _pid = -1;
  int _input = -1, _output = -1;
};
