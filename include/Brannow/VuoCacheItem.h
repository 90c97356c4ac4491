// One record of the compiled-composition cache.
#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "platform/system/FileSystem.h"
#include "platform/system/PropertyList.h"
#include "platform/system/SpinLock.h"

/// Says where the compiled artefact of a composition lies and which modification of the composition
/// it was made from. Every field may be absent. Reads and writes of one field are atomic, from any
/// thread; texts are shared, not duplicated. No operation fails.
class VuoCacheItem {
 public:
  using Text = std::shared_ptr<const std::string>;
  using Date = std::optional<platform::FileTime>;

  VuoCacheItem() = default;
  /// An absent argument leaves its field absent.
  static std::shared_ptr<VuoCacheItem> initWithVuoFile(Text vuoFile, Text cachedDylib,
                                                       Text cachedExe, Date modDate,
                                                       Text appPathWhenCompiled);
  /// A new record with the same values.
  std::shared_ptr<VuoCacheItem> copy() const;

  VuoCacheItem(const VuoCacheItem&) = delete;
  VuoCacheItem& operator=(const VuoCacheItem&) = delete;

  /// The composition, exactly as the caller of a fetch named it.
  Text vuoFilePath() const { return read(_vuoFilePath); }
  void setVuoFilePath(Text path) { write(_vuoFilePath, std::move(path)); }
  /// The composition's modification date right after the artefact was made.
  Date modDate() const { return read(_modDate); }
  void setModDate(Date date) { write(_modDate, std::move(date)); }
  /// The dynamic library; dylib records only.
  Text cachedDylibPath() const { return read(_cachedDylibPath); }
  void setCachedDylibPath(Text path) { write(_cachedDylibPath, std::move(path)); }
  /// The executable; executable records only.
  Text cachedExePath() const { return read(_cachedExePath); }
  void setCachedExePath(Text path) { write(_cachedExePath, std::move(path)); }
  /// The host application that linked the executable; executable records only.
  Text appPathWhenExeCompiled() const { return read(_appPathWhenExeCompiled); }
  void setAppPathWhenExeCompiled(Text path) { write(_appPathWhenExeCompiled, std::move(path)); }

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
  platform::PropertyListDictionary createSnapshot() const;
  /// Takes all five fields from a snapshot; a missing key or a value of the wrong type clears its
  /// field. A property-list date under "m" counts as that whole second. Null changes nothing.
  void loadSnapshot(const platform::PropertyListDictionary* snapshot);

  /// One line for logs: "<VuoCacheItem E clouds.vuo..., /path/to/executable>".
  std::string description() const;

 private:
  template <class Field>
  Field read(const Field& field) const {
    std::lock_guard hold(_lock);
    return field;
  }
  template <class Field>
  void write(Field& field, Field value) {
    std::lock_guard hold(_lock);
    std::swap(field, value);  // the old value goes after the lock has been released
  }

  // Guards the fields, each for the length of one copy; nothing is taken under it.
  mutable platform::SpinLock _lock;
  Text _vuoFilePath;
  Date _modDate;
  Text _cachedDylibPath;
  Text _cachedExePath;
  Text _appPathWhenExeCompiled;
};
