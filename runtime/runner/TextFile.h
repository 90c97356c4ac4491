#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "platform/system/FileDescriptor.h"
#include "platform/system/Mutex.h"

namespace vuo {

/// The file whose text goes into a composition: the one that the composition names, which lies in
/// its folder or below, until the host chooses another, which may lie anywhere. Any thread; reads
/// files, which on a slow disk takes its time.
class TextFile {
 public:
  /// `name` may be empty: there is no file, and no text.
  TextFile(std::string folder, std::string name);

  /// From now on it is that one, a name in the folder or a path. Chosen again, nothing changes.
  void choose(const std::string& path);

  struct Change {
    std::optional<std::string> text;
    std::string fault;  ///< why the file can't be read
  };
  /// What there is to tell since it was last asked. Looks at the file ten times a second at most,
  /// and reads one that has changed when it stays so from one look to the next, so that nobody sees
  /// it half-written. The text of a file that is gone stays; one that was just chosen has none.
  std::optional<Change> popChange();

 private:
  using Clock = std::chrono::steady_clock;
  /// What is different when a file has been written.
  struct Version {
    unsigned long device = 0, number = 0;
    long size = 0;
    long long written = 0, changed = 0;  ///< in ns
    bool operator==(const Version&) const = default;
  };

  platform::FileDescriptor open() const REQUIRES(_lock);
  std::string textFrom(const platform::FileDescriptor& file) const REQUIRES(_lock);
  std::optional<Change> look() REQUIRES(_lock);
  std::optional<Change> failed(const std::string& why) REQUIRES(_lock);

  const std::string _folder;
  platform::Mutex _lock;  ///< held while reading; no lock is taken inside it
  std::string _path GUARDED_BY(_lock);
  bool _isHosts GUARDED_BY(_lock) = false;
  bool _isNew GUARDED_BY(_lock);  ///< it was not read since it was chosen
  std::optional<Version> _read GUARDED_BY(_lock), _seen GUARDED_BY(_lock);
  std::string _fault GUARDED_BY(_lock);  ///< that was told
  Clock::time_point _nextLook GUARDED_BY(_lock);
};

}  // namespace vuo
