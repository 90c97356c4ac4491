#include "Brannow/VuoCacheItem.h"

#include <charconv>
#include <cstdio>

#include "platform/system/Bundle.h"
#include "platform/system/FileSystem.h"
#include "platform/system/LockedValues.h"
#include "platform/system/PropertyList.h"
#include "platform/system/WithMemory.h"

namespace {

using platform::FileTime;
using platform::PropertyListDictionary;
using platform::PropertyListValue;

constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;
/// As many as a file's time can be from 1970, or about 292 years.
constexpr std::int64_t kMostSeconds = INT64_MAX / kNanosecondsPerSecond - 1;

std::string textOfDate(FileTime date) {
  const std::chrono::sys_seconds seconds = std::chrono::floor<std::chrono::seconds>(date);
  char text[64];
  std::snprintf(text, sizeof text, "%lld.%09lld",
                static_cast<long long>(seconds.time_since_epoch().count()),
                static_cast<long long>((date - seconds).count()));
  return text;
}

VuoCacheItem::Date dateOfText(const std::string& text) {
  const char* const end = text.data() + text.size();
  std::int64_t seconds = 0;
  std::int64_t nanoseconds = 0;
  const auto whole = std::from_chars(text.data(), end, seconds);
  if (whole.ec != std::errc() || end - whole.ptr != 10 || *whole.ptr != '.') return std::nullopt;
  const auto fraction = std::from_chars(whole.ptr + 1, end, nanoseconds);
  if (fraction.ec != std::errc() || fraction.ptr != end || nanoseconds < 0) return std::nullopt;
  if (seconds > kMostSeconds || seconds < -kMostSeconds) return std::nullopt;
  return FileTime(std::chrono::nanoseconds(seconds * kNanosecondsPerSecond + nanoseconds));
}

VuoCacheItem::Text textUnder(const PropertyListDictionary& snapshot, const char* key) {
  const auto text = platform::stringForKey(snapshot, key);
  return text ? std::make_shared<const std::string>(*text) : nullptr;
}

VuoCacheItem::Date dateUnder(const PropertyListDictionary& snapshot, const char* key) {
  const auto found = snapshot.find(key);
  if (found == snapshot.end()) return std::nullopt;
  if (const auto date = found->second.date()) {
    const std::int64_t seconds = date->time_since_epoch().count();
    if (seconds > kMostSeconds || seconds < -kMostSeconds) return std::nullopt;
    return FileTime(*date);
  }
  const auto text = found->second.string();
  return text ? dateOfText(*text) : std::nullopt;
}

bool exists(const VuoCacheItem::Text& path) {
  return platform::itemExists(*path);
}

struct Values {
  VuoCacheItem::Text vuoFilePath;
  VuoCacheItem::Date modDate;
  VuoCacheItem::Text cachedDylibPath;
  VuoCacheItem::Text cachedExePath;
  VuoCacheItem::Text appPathWhenExeCompiled;
};

}  // namespace

struct VuoCacheItem::Fields : platform::LockedValues<Values> {};

VuoCacheItem::VuoCacheItem() : _fields(std::make_unique<Fields>()) {}

VuoCacheItem::~VuoCacheItem() = default;

VuoCacheItem::Text VuoCacheItem::vuoFilePath() const {
  return _fields->read(&Values::vuoFilePath);
}
void VuoCacheItem::setVuoFilePath(Text path) {
  _fields->write(&Values::vuoFilePath, std::move(path));
}

VuoCacheItem::Date VuoCacheItem::modDate() const {
  return _fields->read(&Values::modDate);
}
void VuoCacheItem::setModDate(Date date) {
  _fields->write(&Values::modDate, date);
}

VuoCacheItem::Text VuoCacheItem::cachedDylibPath() const {
  return _fields->read(&Values::cachedDylibPath);
}
void VuoCacheItem::setCachedDylibPath(Text path) {
  _fields->write(&Values::cachedDylibPath, std::move(path));
}

VuoCacheItem::Text VuoCacheItem::cachedExePath() const {
  return _fields->read(&Values::cachedExePath);
}
void VuoCacheItem::setCachedExePath(Text path) {
  _fields->write(&Values::cachedExePath, std::move(path));
}

VuoCacheItem::Text VuoCacheItem::appPathWhenExeCompiled() const {
  return _fields->read(&Values::appPathWhenExeCompiled);
}
void VuoCacheItem::setAppPathWhenExeCompiled(Text path) {
  _fields->write(&Values::appPathWhenExeCompiled, std::move(path));
}

std::shared_ptr<VuoCacheItem> VuoCacheItem::initWithVuoFile(Text vuoFile, Text cachedDylib,
                                                            Text cachedExe, Date modDate,
                                                            Text appPathWhenCompiled) {
  auto item = platform::orNothing([] { return std::make_shared<VuoCacheItem>(); });
  if (!item) return nullptr;
  item->setVuoFilePath(std::move(vuoFile));
  item->setModDate(modDate);
  item->setCachedDylibPath(std::move(cachedDylib));
  item->setCachedExePath(std::move(cachedExe));
  item->setAppPathWhenExeCompiled(std::move(appPathWhenCompiled));
  return item;
}

std::shared_ptr<VuoCacheItem> VuoCacheItem::copy() const {
  return initWithVuoFile(vuoFilePath(), cachedDylibPath(), cachedExePath(), modDate(),
                         appPathWhenExeCompiled());
}

bool VuoCacheItem::isValid() const try {
  const Text composition = vuoFilePath();
  const Text dylib = cachedDylibPath();
  const Text exe = cachedExePath();
  bool valid = composition && exists(composition);
  if (dylib) valid = exists(dylib) && valid;
  if (exe) {
    const Text app = appPathWhenExeCompiled();
    valid = exists(exe) && valid;
    valid = valid && app && *app == platform::mainBundlePath();
  }
  return valid;
} catch (const std::bad_alloc&) {
  return false;
}

bool VuoCacheItem::upToDate() const {
  const Date recorded = modDate();
  if (!recorded) return false;
  const Text composition = vuoFilePath();
  const Date current = composition ? platform::modificationTime(*composition) : std::nullopt;
  return current == recorded;
}

PropertyListDictionary VuoCacheItem::createSnapshot() const {
  PropertyListDictionary snapshot;
  const auto add = [&snapshot](const char* key, const Text& text) {
    if (text) snapshot[key] = PropertyListValue{*text};
  };
  add("p", vuoFilePath());
  if (const Date date = modDate()) snapshot["m"] = PropertyListValue{textOfDate(*date)};
  add("d", cachedDylibPath());
  add("e", cachedExePath());
  add("ap", appPathWhenExeCompiled());
  return snapshot;
}

void VuoCacheItem::loadSnapshot(const PropertyListDictionary* snapshot) {
  if (!snapshot) return;
  Text vuoFile = textUnder(*snapshot, "p");
  const Date date = dateUnder(*snapshot, "m");
  Text dylib = textUnder(*snapshot, "d");
  Text exe = textUnder(*snapshot, "e");
  setAppPathWhenExeCompiled(textUnder(*snapshot, "ap"));
  setVuoFilePath(std::move(vuoFile));
  setModDate(date);
  setCachedDylibPath(std::move(dylib));
  setCachedExePath(std::move(exe));
}

std::string VuoCacheItem::description() const try {
  const Text composition = vuoFilePath();
  const Text exe = cachedExePath();
  const Text dylib = cachedDylibPath();
  const std::string name =
      composition ? platform::lastPathComponent(*composition) : std::string("(null)");
  if (exe) return "<VuoCacheItem E " + name + "..., " + *exe + ">";
  if (dylib) return "<VuoCacheItem D " + name + "..., " + *dylib + ">";
  return "<VuoCacheItem ? " + name + "...>";
} catch (const std::bad_alloc&) {
  return {};
}
