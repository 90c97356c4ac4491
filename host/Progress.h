#pragma once

#include <chrono>

/// How far a command is, on a line of standard error that changes; nothing where that is no
/// terminal.
class Progress {
 public:
  Progress();
  /// Takes the line away.
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  bool isShown() const { return _isShown; }
  /// `done` of `count` frames, 0 where nobody knows; `waited` tells for how long the next one has
  /// been waited for.
  void show(int done, int count, std::chrono::seconds waited = {});
  /// Takes the line away until it is shown again, so that others can write lines.
  void clear();

 private:
  const bool _isShown;
  bool _isThere = false;
};
