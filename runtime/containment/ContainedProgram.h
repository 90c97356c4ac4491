// A program of the runtime's that has to do with what strangers have written: a composition, a
// picture, a shader. It is given what is named here and nothing else of what its user may do.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

namespace vuo {

struct ContainedProgram {
  std::string program;
  std::vector<std::string> arguments;
  /// Of this process; the program finds them as 3, 4, … and has no other but the standard three,
  /// which are /dev/null.
  std::vector<int> descriptors;
  /// Folders with what lies below them, and files, beside what the GL driver needs.
  std::vector<std::string> readable;
  /// A folder where the program may create files until it calls `noMoreFilesOrPrograms`, and write
  /// them; empty: nowhere.
  std::string ownFolder;
  /// Variables ("NAME=VALUE") beside those that the GL driver looks at.
  std::vector<std::string> environment;
  /// It may make copies of itself, which lower their limits; it starts no other program.
  bool copiesItself = false;
  /// The kernel ends it with this process.
  bool endsWithHost = true;
  /// Of its data in memory, in bytes; the addresses that it may use for anything are sixteen times
  /// as many, since drivers map a lot that costs nothing. Not in builds with sanitizers.
  std::uint64_t memory = std::uint64_t{4} << 30;
  /// Of one file, shared memory included, in bytes.
  std::uint64_t fileSize = std::uint64_t{1} << 30;
  /// More than this many descriptors of its user's on their way between any processes keep it from
  /// sending one, too.
  std::uint64_t openFiles = 1024;
};

/// Starts it, with no signal blocked or handled, in a process group of its own, and returns the
/// number of the process when the program has begun: some milliseconds. The caller waits for its
/// end. Any thread, which need not live on. Throws std::runtime_error when it can't be started.
pid_t launch(const ContainedProgram& order);

}  // namespace vuo
