// One record of the compiled-composition cache.
#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "Brannow/BrannowExport.h"

namespace brannow {
/// The form in which records lie in the cache's files; nothing that a host has to do with.
struct PropertyListValue;
using PropertyListDictionary = std::map<std::string, PropertyListValue>;
}  // namespace brannow

/// Says where the compiled artefact of a composition lies and which modification of the composition
/// it was made from. Every field may be absent. Reads and writes of one field are atomic, from any
/// thread; texts are shared, not duplicated. Nothing is thrown: without
/// memory a new record is null, a text or a snapshot empty, a record counts as invalid, and one
/// that is to take a snapshot stays as it was.
class BRANNOW_API VuoCacheItem {
 public:
  using Text = std::shared_ptr<const std::string>;
  /// With all the digits that the file system keeps.
  using Date = std::optional<std::chrono::sys_time<std::chrono::nanoseconds>>;

  VuoCacheItem();
  ~VuoCacheItem();
  /// An absent argument leaves its field absent.
  static std::shared_ptr<VuoCacheItem> initWithVuoFile(Text vuoFile, Text cachedDylib,
                                                       Text cachedExe, Date modDate,
                                                       Text appPathWhenCompiled);
  /// A new record with the same values.
  std::shared_ptr<VuoCacheItem> copy() const;

  VuoCacheItem(const VuoCacheItem&) = delete;
  VuoCacheItem& operator=(const VuoCacheItem&) = delete;

  /// The composition, exactly as the caller of a fetch named it.
  Text vuoFilePath() const;
  void setVuoFilePath(Text path);
  /// The composition's modification date right after the artefact was made.
  Date modDate() const;
  void setModDate(Date date);
  /// The dynamic library; dylib records only.
  Text cachedDylibPath() const;
  void setCachedDylibPath(Text path);
  /// The executable; executable records only.
  Text cachedExePath() const;
  void setCachedExePath(Text path);
  /// The host application that linked the executable; executable records only.
  Text appPathWhenExeCompiled() const;
  void setAppPathWhenExeCompiled(Text path);

  /// Whether the files that the record names exist and, for an executable, this host application
  /// linked it. Asks the file system.
  bool isValid() const;
  /// Whether the composition still has the recorded modification date, to the nanosecond. Asks the
  /// file system.
  bool upToDate() const;
  /// Says that the caller no longer uses its copy. Has no effect.
  void returnToCache() {}

  /// The persisted form: "p" composition, "m" date, "d" library, "e" executable, "ap" application.
  /// A key is there exactly when its field is. "m" is the seconds since 1970 with nine decimals, as
  /// a text, since a property-list date holds whole seconds only.
  brannow::PropertyListDictionary createSnapshot() const;
  /// Takes all five fields from a snapshot; a missing key or a value of the wrong type clears its
  /// field. A property-list date under "m" counts as that whole second. Null changes nothing.
  void loadSnapshot(const brannow::PropertyListDictionary* snapshot);

  /// One line for logs: "<VuoCacheItem E clouds.vuo..., /path/to/executable>".
  std::string description() const;

 private:
  struct Fields;
  const std::unique_ptr<Fields> _fields;
};
